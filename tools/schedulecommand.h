#pragma once

#include <QStringList>

/// "ravelinctl schedule". As Command::run.
[[nodiscard]] int RunSchedule(const QStringList& words);
