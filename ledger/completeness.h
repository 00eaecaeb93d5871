#pragma once

#include "sweepoutcomes.h"

#include <QDate>

#include <array>
#include <optional>

/// Why a due reading is not there.
enum class Gap : quint8 {
    Undecodable, ///< status 1 of a node
    SubstationSilent, ///< status 1 of the substation meter
    NoReading, ///< status 2
    NotDelivered, ///< status 3
    NothingHeard, ///< status 255
    UnknownStatus,
    ZeroRow, ///< zeros as if they were a reading, of a meter that has had one
    NotStored, ///< answers of its model are not stored
    NoRow, ///< the sweep has rows, but none of this meter
    NoSweep, ///< no row of any meter
};
inline constexpr size_t GapKinds = 10;

/// Why a row with this status, not 0, has no reading.
[[nodiscard]] Gap GapOf(int status, const LedgerMeter& meter);

/// Of one meter or of several, in one day or in several.
struct ReadingCounts {
    int due = 0;
    int read = 0;
    int late = 0; ///< of these: a row of silence stands beside the reading
    int byDeadline = 0; ///< of these: were there by the deadline for certain
    int perhapsByDeadline = 0; ///< of these: rows do not tell whether they were
    std::array<int, GapKinds> gaps{}; ///< by Gap; their sum is due - read

    ReadingCounts& operator+=(const ReadingCounts& other);
    [[nodiscard]] int Of(Gap gap) const { return gaps[static_cast<size_t>(gap)]; }
};

/// `part` of `whole` in percent, rounded down to a tenth so that 100 means all; 100 of nothing.
[[nodiscard]] double Percent(int part, int whole);

struct DayCounts {
    QDate day;
    int sweepsDue = 0;
    int sweepsMade = 0;
    QList<ReadingCounts> meters; ///< by place; may be shorter than the list of meters

    [[nodiscard]] ReadingCounts Sum() const;
};

/// Counts by meter and day.
///
/// A row has the stamp of its sweep, not the time at which it came. A reading came before the next sweep began, a late
/// one before the next but one. So it was there by the deadline for certain when that sweep began by then; when its own
/// sweep began by then and that one later or never, it may have been.
class Completeness final {
public:
    /// The deadline of a day's readings, in minutes after the end of the day.
    explicit Completeness(int deadlineMinutes_) : deadlineMinutes(deadlineMinutes_) { }

    /// In order. `meters` by place.
    void Add(const SweepOutcome& outcome, const QList<LedgerMeter>& meters);

    /// By ascending days; days without due sweeps have none.
    [[nodiscard]] QList<DayCounts> Days() const;

private:
    struct Waiting {
        QList<int> next; ///< by place: readings that are certain when the next sweep begins
        QList<int> afterNext; ///< and when the one after that does
    };
    struct OpenDay {
        DayCounts counts;
        Waiting waiting;
    };

    void TakeDeadline(const QDateTime& stamp);
    [[nodiscard]] QDateTime DeadlineOf(QDate day) const;

    int deadlineMinutes;
    QList<OpenDay> days;
};
