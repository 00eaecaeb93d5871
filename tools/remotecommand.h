#pragma once

#include <QStringList>

/// "ravelinctl command". As Subcommand::run.
[[nodiscard]] int RunRemoteCommand(const QStringList& words);
