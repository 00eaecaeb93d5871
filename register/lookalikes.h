#pragma once

#include <QString>

/// For the end of a sentence that refuses `value`: "; the second letter is Cyrillic". Letters of the two alphabets look
/// alike, so a person does not see it. Empty when there is none.
[[nodiscard]] QString CyrillicRemark(const QString& value);
