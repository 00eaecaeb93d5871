#pragma once

#include <QStringList>

/// "ravelinctl fleet": the centre of many controllers. An exit code.
[[nodiscard]] int RunFleet(const QStringList& words);
