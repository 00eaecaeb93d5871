#pragma once

#include <QStringList>

/// "ravelinctl register": init, import, remove and check. As Subcommand::run.
[[nodiscard]] int RunRegister(const QStringList& words);
