#pragma once

#include <QStringList>

/// "ravelinctl incidents". As Subcommand::run.
[[nodiscard]] int RunIncidents(const QStringList& words);
