#pragma once

#include "duesweeps.h"
#include "ledgermeter.h"
#include "storedsweep.h"

#include <QSet>

/// What a due sweep brought of one meter.
struct MeterOutcome {
    bool isExpected = false; ///< it was in the register, as far as rows can tell
    quint8 read = 0; ///< readings, at most as many as were due
    quint8 late = 0; ///< of these, the ones beside a row of silence under the same stamp
    quint8 silent = 0; ///< rows without a reading
    int status = 0; ///< of the last of these; ZeroRow for zeros that claim to be a reading
    static constexpr int ZeroRow = -1;

    [[nodiscard]] bool HasRow() const { return read + silent > 0; }
};

/// What became of a due sweep.
struct SweepOutcome {
    DueSweep due;
    QDateTime end; ///< a sweep that begins from here on is not this one
    QList<QDateTime> stamps; ///< of the sweeps that count for it; empty when there is no row
    int made = 0; ///< how often it was swept, at most as often as due
    QList<MeterOutcome> meters; ///< by place

    /// False before the first row that there ever was: nothing can be said then.
    [[nodiscard]] bool IsExpected() const;
};

/// Lays stored sweeps beside due ones. A sweep counts for the last minute that was due when it began, unless it began
/// `LatestStartHours` or more after it: the collector may begin late, but its rows do not tell what it began for.
class SweepOutcomes final {
public:
    static constexpr int LatestStartHours = 6;

    /// `knownBefore`: meters that had rows before the first day. Any other meter is expected from its first row on, and
    /// one that is not in the register only where it has a row.
    SweepOutcomes(const QList<LedgerMeter>& registered, const QSet<qint32>& knownBefore, const MonthPlan& plan_,
        const WallZone& zone_);

    /// The outcomes that are complete by the end of the day, or by the wall time `now` if that is earlier. Days come in
    /// order, with none left out. A sweep may be complete on the day after its own.
    [[nodiscard]] QList<SweepOutcome> AddDay(QDate day, const StoredDay& sweeps, const QDateTime& now);

    /// By place. Grows as rows name meters that are not in the register.
    [[nodiscard]] const QList<LedgerMeter>& Meters() const { return meters.All(); }

private:
    struct Known {
        QDateTime since; ///< its first row; invalid while it has none
        bool hasEnergy = false; ///< a reading that is not all zeros
    };

    void Expect(QDate day);
    void Lay(SweepOutcome& outcome, const StoredSweep& sweep);
    [[nodiscard]] QList<SweepOutcome> TakeThoseThatEndBy(const QDateTime& time);
    void Complete(SweepOutcome& outcome);

    MeterList meters;
    QList<Known> known;
    MonthPlan plan;
    WallZone zone;
    QList<SweepOutcome> open;
};
