#pragma once

#include <QStringList>

/// "ravelinctl setup". As Subcommand::run.
[[nodiscard]] int RunSetup(const QStringList& words);
