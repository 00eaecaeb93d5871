#pragma once

#include "meterregister.h"
#include "sysvar.h"

#include <functional>
#include <optional>

/// How long the collector is busy with what its schedule has it do. Only the waits that it makes on purpose count:
/// beside them, what the database, the modem and the time daemon take is small.
namespace AirtimePlan {

struct Site {
    int nodes = 0; ///< meters behind nodes
    int neverHeard = 0; ///< of these, the ones whose answers are not taken when they come: asked again in every pass
    int substationMs = 0; ///< one try to read the substation meter; 0: there is none that could be read
    bool setsClocksOneByOne = false;
    // As in SysVar
    int broadcastMs = 0;
    int unicastMs = 0;
    int substationRetries = 0;
    int passes = 0;
};

[[nodiscard]] Site SiteOf(const SysVar& vars, const QList<RegisterRow>& rows);

enum class Case {
    Best, ///< whoever can answer does so at once
    Worst, ///< no node ever answers, the substation meter does so at the last try
};

/// From the tick that starts the sweep to the one that closes it, ms. None when it is never closed.
[[nodiscard]] std::optional<qint64> QuerySweepMs(const Site& site, Case answers);
/// As QuerySweepMs(). 0 when nobody is asked.
[[nodiscard]] std::optional<qint64> TimeSweepMs(const Site& site, Case answers);
[[nodiscard]] qint64 ClockSettingMs(const Site& site);

/// The most nodes, 100,000 at most, with which `length` is not above `availableMs`; as large a share of them as at
/// `site` is never heard. 0 when not even one fits.
[[nodiscard]] int NodesThatFit(
    const Site& site, qint64 availableMs, const std::function<std::optional<qint64>(const Site&)>& length);

} // namespace AirtimePlan
