#pragma once

#include <QStringList>

/// "ravelinctl retain". As Subcommand::run.
[[nodiscard]] int RunRetain(const QStringList& words);
