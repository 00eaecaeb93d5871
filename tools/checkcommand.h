#pragma once

#include <QStringList>

/// "ravelinctl check". As Subcommand::run.
[[nodiscard]] int RunCheck(const QStringList& words);
