#pragma once

#include "ledgermeter.h"

#include <QDateTime>

#include <optional>

/// One row of the clock readings, as text: a CE301's time is what the meter sent.
struct ClockRow {
    QString uin;
    QString dateShown;
    QString timeShown;
    QString dateAsked;
    QString timeAsked;
};

struct ClockLimits {
    double offsetSeconds = 5;
    double driftSecondsPerDay = 0.5;
};

/// What the readings of one meter's clock tell.
struct MeterClock {
    qsizetype place = 0; ///< of the meter
    int readings = 0; ///< that are times
    int unreadable = 0; ///< that are none
    QDateTime asked; ///< wall time, when the last of the readings was asked for
    double offset = 0; ///< s, then; positive: the clock was fast
    bool isReferenced = false; ///< the reference clock was known that day; else this computer's clock is taken as right
    std::optional<double> drift; ///< s a day; none: too few readings, or the clock is set between them
    bool isOff = false; ///< the offset exceeds its limit
    bool drifts = false; ///< the drift exceeds its limit

    /// None of it means anything without.
    [[nodiscard]] bool IsKnown() const { return readings > 0; }
};

/// The clocks of the meters in the register, by place; the substation meter's is not read and has none. `rows` are in
/// the order in which they were asked for, 30 days of them for the drift. Rows under the substation meter's UIN are the
/// reference: there this computer's clock is what was shown, and the right time is when it was asked.
[[nodiscard]] QList<MeterClock> MeterClocks(
    const QList<LedgerMeter>& meters, const QList<ClockRow>& rows, const ClockLimits& limits);

/// One reading of a clock that is a time.
struct ClockOffset {
    QDateTime asked; ///< wall time
    QDateTime shown; ///< what the clock showed; of a time of day the nearest
    double seconds = 0; ///< by the reference clock, if it was known that day
};

/// Those of one meter behind a node, out of rows of any meters; `reference` is the substation meter's UIN, or empty.
[[nodiscard]] QList<ClockOffset> ClockOffsets(
    const LedgerMeter& meter, const QString& reference, const QList<ClockRow>& rows);

/// The slope of `offsets` (s) over `days` by least squares, s a day. Where the offset makes a step, because the clock
/// was set, each side has a level of its own. None when less than 3 readings or 2 days are left to tell it.
[[nodiscard]] std::optional<double> DriftOf(const QList<double>& days, const QList<double>& offsets);
