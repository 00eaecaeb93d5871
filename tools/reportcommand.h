#pragma once

#include <QStringList>

/// "ravelinctl report". As Subcommand::run.
[[nodiscard]] int RunReport(const QStringList& words);
