#pragma once

#include <QString>

/// The text of an ini file with `key` ("Group/Key") set to `value`; all other lines stay as they are. The line that
/// sets the key is replaced; without one it comes first in its group, which is made at the end if it is not there.
[[nodiscard]] QString WithSetting(const QString& text, const QString& key, const QString& value);
