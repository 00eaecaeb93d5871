#pragma once

#include "plausibility.h"

#include <optional>

/// A reading as a bill names it.
struct BilledReading {
    QDateTime stamp; ///< wall time
    std::array<double, 5> energy{}; ///< kWh: the total, tariffs 1 to 4
};

/// What one meter used in a month.
struct MeterUse {
    enum class Lack : quint8 {
        None,
        NoReading,
        OneReading,
        WentBack, ///< the total or a tariff is less at the end
        Exchanged, ///< a finding says that the meter was exchanged or reset in between
        Doubtful, ///< a finding says that the first or the last reading is a wrong one
    };

    qsizetype place = 0; ///< of the meter
    std::optional<BilledReading> first;
    std::optional<BilledReading> last; ///< none when there is only one
    Lack lack = Lack::NoReading; ///< why there is no use
    std::array<double, 5> use{}; ///< kWh: the total, tariffs 1 to 4; zeros when there is none
    std::optional<ReadingFinding> finding; ///< of Exchanged and Doubtful
};

/// Takes the readings between which the use of a month lies. At either end of the month this is the first reading of
/// the month's first hour, or else the last one before it, so that one month ends with the reading with which the next
/// begins. Rows of silence and of zeros are no readings.
class MonthUse final {
public:
    /// As far before the month a reading may lie with which it begins, when its first hour has none.
    static constexpr int DaysBefore = 7;

    /// `month`: its first day.
    explicit MonthUse(QDate month);

    /// Days in order, from `DaysBefore` before the month to the first one after it.
    void AddDay(const StoredDay& sweeps, MeterList& meters);

    /// By place, one for each meter of `meters`. `findings` are of the same days.
    [[nodiscard]] QList<MeterUse> Uses(const QList<LedgerMeter>& meters, const QList<ReadingFinding>& findings) const;

private:
    struct Ends {
        std::optional<BilledReading> first;
        std::optional<BilledReading> last;
        bool isFirstFixed = false; ///< it is of the first hour
        bool isLastFixed = false; ///< it is of the hour after the month
        bool hasOwn = false; ///< a reading of the month itself
    };

    void Take(Ends& ends, const BilledReading& reading) const;

    QDateTime begin;
    QDateTime end;
    QList<Ends> ends; ///< by place
};
