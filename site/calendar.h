#pragma once

#include "monthplan.h"
#include "sysvar.h"

#include <QDateTime>
#include <QList>

#include <array>
#include <optional>

/// What can be due in a minute, in the order in which the collector does it. Values of a set.
enum Due : quint8 { ClockSetting = 1, TimeSweep = 2, QuerySweep = 4, AnySweep = TimeSweep | QuerySweep };

/// The minutes that the schedule's three patterns name.
class Calendar final {
public:
    explicit Calendar(const SysVar& vars);

    /// A set of Due.
    [[nodiscard]] quint8 DueAt(const QDateTime& time) const { return dueAt[MinuteOfMonth(time.date(), time.time())]; }

    /// How many of the 31 x 24 x 60 minutes of a month.
    [[nodiscard]] int MinutesOf(Due what) const;

    /// The first `count` minutes from `from` on, none later than two years after it.
    [[nodiscard]] QList<QDateTime> Next(Due what, const QDateTime& from, int count) const;

    /// From a minute to the next in which a sweep is due.
    struct Gap {
        QDateTime start;
        QDateTime end;
    };
    /// For each set of what falls together, the first of the shortest gaps in the two months from `from` on.
    [[nodiscard]] std::array<std::optional<Gap>, 8> TightestGaps(const QDateTime& from) const;

    /// The minutes in which any of `what`, a set of Due, is due.
    [[nodiscard]] MonthPlan PlanOf(quint8 what) const;

private:
    std::array<quint8, MinutesOfMonth> dueAt{};
};
