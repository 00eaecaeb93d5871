#pragma once

#include "sysvar.h"

#include <QStringList>

/// What is around the daemon: looked at, never touched. A sentence for each thing that would not work.
namespace InstallationCheck {

/// The serial lines. Their settings are left as they are.
[[nodiscard]] QStringList PortProblems(const SysVar& vars, bool hasSubstationMeter);

/// The database, its tables and the register; `hasSubstationMeter` stays true while that is not known.
[[nodiscard]] QStringList DatabaseProblems(const SysVar& vars, bool& hasSubstationMeter);

/// That the log can be written. Empty stands for the default log, for which a place is always found.
[[nodiscard]] QStringList LogProblems(const QString& logName);

/// That the program that the time sweep asks is there.
[[nodiscard]] QStringList ProgramProblems();

} // namespace InstallationCheck
