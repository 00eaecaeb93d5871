#pragma once

#include <QStringList>

/// "ravelinctl register": init, import, remove and check. As Command::run.
[[nodiscard]] int RunRegister(const QStringList& words);
