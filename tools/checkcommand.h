#pragma once

#include <QStringList>

/// "ravelinctl check". As Command::run.
[[nodiscard]] int RunCheck(const QStringList& words);
