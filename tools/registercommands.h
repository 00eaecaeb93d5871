#pragma once

#include <QStringList>

/// "ravelinctl register": init, import and check. As Command::run.
[[nodiscard]] int RunRegister(const QStringList& words);
