#pragma once

#include <QStringList>

/// "ravelinctl support". As Subcommand::run.
[[nodiscard]] int RunSupport(const QStringList& words);
