#pragma once

#include <QStringList>

/// "ravelinctl backup". As Subcommand::run.
[[nodiscard]] int RunBackup(const QStringList& words);
