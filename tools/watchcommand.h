#pragma once

#include <QStringList>

/// "ravelinctl watch". As Subcommand::run.
[[nodiscard]] int RunWatch(const QStringList& words);
