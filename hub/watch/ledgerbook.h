#pragma once

#include "incidents.h"
#include "meterclocks.h"
#include "outcomestore.h"
#include "plausibility.h"

#include <QHash>

/// What the rows of some days on end tell, day by day. A value: a copy as of the end of a day can be kept and continued
/// anew. What it keeps grows with the due sweeps and not with the rows.
class LedgerBook final {
public:
    /// As of SweepOutcomes.
    LedgerBook(const QList<LedgerMeter>& registered, const QSet<qint32>& knownBefore, const MonthPlan& plan,
        const WallZone& zone);

    /// Days in order, with none left out; up to the wall time `now`.
    void AddDay(QDate day, const StoredDay& sweeps, const QDateTime& now);

    /// By place: those of the register, then those that only rows name.
    [[nodiscard]] const QList<LedgerMeter>& Meters() const { return outcomes.Meters(); }
    [[nodiscard]] const OutcomeStore& Outcomes() const { return store; }
    [[nodiscard]] QList<Incident> IncidentsFound() const { return incidents.Findings(); }
    [[nodiscard]] QList<ReadingFinding> ReadingsFound() const { return plausibility.Findings(); }
    /// By place in ReadingsFound().
    [[nodiscard]] const QList<LedgerMeter>& MetersOfReadings() const { return seen.All(); }

    struct LastRows {
        QDateTime asked; ///< wall time, of the last row
        int status = 0; ///< of it; 0 when one of those under its stamp is a reading
        QDateTime readAt; ///< of the last reading; invalid when there is none
        std::array<double, 5> energy{};

        bool operator==(const LastRows&) const = default;
    };
    /// By global_id.
    [[nodiscard]] const QHash<qint32, LastRows>& Last() const { return last; }

    /// Under the newest stamp.
    struct Newest {
        QDateTime stamp; ///< wall time; invalid when there is none
        int meters = 0;
        int read = 0;
    };
    [[nodiscard]] const Newest& NewestSweep() const { return newest; }

private:
    void TakeLast(const StoredSweep& sweep);

    SweepOutcomes outcomes;
    Incidents incidents;
    Plausibility plausibility;
    MeterList seen;
    OutcomeStore store;
    QHash<qint32, LastRows> last;
    Newest newest;
};

/// All that is known at one moment.
struct LedgerSnapshot {
    LedgerBook book;
    QList<Incident> incidents;
    QList<MeterClock> clocks;
    QDate first; ///< of the days
    QDate today;
    int unreadable = 0; ///< rows whose time is none
};
