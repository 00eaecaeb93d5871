#pragma once

#include "meterregister.h"
#include "sysvar.h"

#include <QTime>

#include <functional>
#include <optional>

/// How long the collector is busy with what its schedule has it do. Only the waits that it makes on purpose count, and
/// with pacing by answers what the radio takes: beside them, what the database and the time daemon take is small.
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

    int window = 0; ///< with pacing by answers: how many nodes are on their way at once; 0: fixed pauses
    // What the last day shows, for Case::Measured
    int measuredMs = 0; ///< from one message to the next; 0: not known
    int measuredSilent = 0; ///< meters without a reading, on average of the sweeps
};

[[nodiscard]] Site SiteOf(const SysVar& vars, const QList<RegisterRow>& rows);

enum class Case {
    Best, ///< whoever can answer does so at once
    Worst, ///< no node ever answers, the substation meter does so at the last try
    Measured, ///< as in the last day, the substation meter at once; for a site that knows it
};

/// With pacing by answers: what a read-out takes at best when it is alone, and what it takes of the modem's line, where
/// one waits for the other however many are on their way. As measured with a radio of one to five hops.
inline constexpr int ReadOutMs = 400;
inline constexpr int ReadOutLineMs = 110;

/// The mean of the pauses between `times`, which ascend, ms. One that is longer than `longestMs` lies between two
/// passes and does not count. 0 when there is none.
[[nodiscard]] int MeanPauseMs(const QList<QTime>& times, int longestMs);

/// From the tick that starts the sweep to the one that closes it, ms. None when it is never closed.
[[nodiscard]] std::optional<qint64> QuerySweepMs(const Site& site, Case answers);
/// As QuerySweepMs(). 0 when nobody is asked.
[[nodiscard]] std::optional<qint64> TimeSweepMs(const Site& site, Case answers);
[[nodiscard]] qint64 ClockSettingMs(const Site& site, Case answers);

/// The most nodes, 100,000 at most, with which `length` is not above `availableMs`; as large a share of them as at
/// `site` is never heard. 0 when not even one fits.
[[nodiscard]] int NodesThatFit(
    const Site& site, qint64 availableMs, const std::function<std::optional<qint64>(const Site&)>& length);

} // namespace AirtimePlan
