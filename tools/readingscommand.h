#pragma once

#include <QStringList>

/// "ravelinctl readings": the rows of a stretch of time, one after the other. An exit code.
[[nodiscard]] int RunReadings(const QStringList& words);
