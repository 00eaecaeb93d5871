#pragma once

#include <QStringList>

/// "ravelinctl schedule". As Subcommand::run.
[[nodiscard]] int RunSchedule(const QStringList& words);
