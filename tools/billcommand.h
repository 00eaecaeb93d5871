#pragma once

#include <QStringList>

/// "ravelinctl bill": what each meter used in a month. An exit code.
[[nodiscard]] int RunBill(const QStringList& words);
