#pragma once

#include <QStringList>

/// "ravelinctl status". As Subcommand::run.
[[nodiscard]] int RunStatus(const QStringList& words);
