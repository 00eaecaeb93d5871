#pragma once

#include "sysvar.h"

#include <QStringList>

/// "ravelinctl register": init, import, remove and check. As Subcommand::run.
[[nodiscard]] int RunRegister(const QStringList& words);

/// What "register init" and "register import" do with a database. Tell what was done, or complain; exit codes.
[[nodiscard]] int InitDatabase(const SysVar& vars);
[[nodiscard]] int ImportRegister(const SysVar& vars, const QString& fileName);
