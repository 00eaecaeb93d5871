#pragma once

#include "finding.h"
#include "meterregister.h"
#include "sysvar.h"

#include <optional>

/// What is around the daemon: looked at, never touched.
namespace InstallationCheck {

struct Database {
    Findings findings;
    std::optional<QList<RegisterRow>> rows; ///< of the register; none when it could not be read
};
[[nodiscard]] Database LookAtDatabase(const SysVar& vars);

/// That the sweeps of these meters fit between each other.
[[nodiscard]] Findings ScheduleFindings(const SysVar& vars, const QList<RegisterRow>& rows);

/// That the log can be written. An empty name stands for the default log, for which a place is always found.
[[nodiscard]] Findings LogFindings(const QString& logName);

} // namespace InstallationCheck
