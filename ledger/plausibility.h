#pragma once

#include "ledgermeter.h"
#include "storedsweep.h"
#include "walltime.h"

#include <optional>

/// What is strange about a meter's readings.
struct ReadingFinding {
    enum class Kind : quint8 {
        WentBack, ///< and stayed: the meter was exchanged or reset
        Jump, ///< more than the limit allows
        OutOfLine, ///< one reading does not lie between its neighbours
        Unusual, ///< a day far from the meter's own days
        Standstill, ///< the total does not move for days
        Stuck, ///< the total does not move, though it used to and others do
        TariffSum, ///< the tariffs do not add up to the total
        NumberChanged, ///< in the register
    };

    Kind kind = Kind::WentBack;
    qsizetype place = 0; ///< of the meter
    QDateTime since; ///< wall time
    QDateTime until; ///< wall time; the same for what one reading shows
    double before = 0; ///< kWh: the reading before; of a day its usual use; of a sum the total
    double value = 0; ///< kWh: the reading; of a day its use; of a sum the sum
    double powerKw = 0; ///< of a jump
    int times = 1; ///< days, or readings
    bool isConfirmed = true; ///< false: no reading has come since that tells an exchange from a single wrong one
    QString numberBefore; ///< a stranger's text; of NumberChanged alone
};

struct PlausibilityLimits {
    double nodeKw = 100; ///< the most that a meter behind a node can carry
    double substationKw = 2500; ///< and the substation meter, with its multiplier
    int standstillDays = 7;
    int stuckHours = 24;
    double unusualFactor = 6; ///< in deviations from the median of the meter's own days
};

/// The finest step that a stored value has: six significant digits.
[[nodiscard]] double StoredStep(double kWh);

/// Meters whose number is another one than in `before`, by global_id.
[[nodiscard]] QList<ReadingFinding> ChangedNumbers(
    const QList<LedgerMeter>& before, const QList<LedgerMeter>& now, const QDateTime& seen);

/// Looks over the readings of all meters, sweep by sweep. What it keeps grows with the meters and not with the rows.
/// Rows without a reading and rows of zeros are passed over, and so is the hour that comes twice: in it, stamps do not
/// tell which reading came first.
class Plausibility final {
public:
    Plausibility(const PlausibilityLimits& limits_, const WallZone& zone_) : limits(limits_), zone(zone_) { }

    /// A whole day, days in order.
    void AddDay(const StoredDay& sweeps, MeterList& meters);

    /// What was found of all days, by since.
    [[nodiscard]] QList<ReadingFinding> Findings() const;

    static constexpr int HistoryDays = 28; ///< of the meter's own days that are looked at
    static constexpr int LeastHistory = 7;

private:
    struct Reading {
        QDateTime stamp;
        qint64 moment = 0; ///< s since 1970 UTC
        double total = 0;
    };
    struct History {
        std::optional<Reading> last; ///< the last that is in line
        std::optional<Reading> doubted; ///< came after it and does not follow from it
        std::optional<Reading> dayStart; ///< the first of the last day
        QList<double> dayUses; ///< kWh a day
        std::optional<Reading> unchangedSince; ///< from when on the total is what it is
        bool movedToday = false;
        bool isStuck = false;
        std::optional<ReadingFinding> sum; ///< TariffSum
    };
    struct Step {
        const Reading& from;
        const Reading& to;
    };

    void Take(const Reading& reading, qsizetype place, const LedgerMeter& meter);
    void Settle(const Reading& reading, qsizetype place, const LedgerMeter& meter);
    void Accept(const Reading& reading, qsizetype place);
    void LookAtDay(const Reading& reading, qsizetype place);
    void LookAtSum(const ReadingRow& row, const QDateTime& stamp, qsizetype place, const LedgerMeter& meter);
    void LookForStuck();
    static void DropExplained(QList<ReadingFinding>& findings);
    [[nodiscard]] std::optional<ReadingFinding> Unmoved(const History& history, qsizetype place) const;
    [[nodiscard]] bool Follows(const Step& step, const LedgerMeter& meter) const;
    [[nodiscard]] static ReadingFinding FindingOf(
        ReadingFinding::Kind kind, qsizetype place, const Reading& before, const Reading& reading);

    PlausibilityLimits limits;
    WallZone zone;
    QList<History> histories; ///< by place
    QList<ReadingFinding> findings;
};
