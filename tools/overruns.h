#pragma once

#include "airtimeplan.h"
#include "calendar.h"

#include <optional>

/// What the schedule has the collector do, in the order in which it does it.
struct Task {
    Due due;
    const char* name; ///< for Texts::tr()
    QLatin1StringView key;
    QString SysVar::*pattern;
    std::optional<qint64> (*ms)(const AirtimePlan::Site& site, AirtimePlan::Case answers);
};
extern const std::array<Task, 3> Tasks;

/// "120.0 s (2.0 min)"; "no end" for none.
[[nodiscard]] QString DurationText(std::optional<qint64> ms);
/// "clock setting and query sweep": a set of Due.
[[nodiscard]] QString TaskNames(quint8 dues);
[[nodiscard]] QString MinuteText(const QDateTime& time);

/// Sweeps that are not over when the next one is due, in the two months from `from` on.
struct Overrun {
    AirtimePlan::Case answers; ///< Best: it cannot be over; Worst: it may not be
    QString text; ///< a sentence that tells, too, how many meters would fit
};
[[nodiscard]] QList<Overrun> Overruns(const AirtimePlan::Site& site, const Calendar& calendar, const QDateTime& from);

/// The settings of the group "Field" with which each sweep can be over when the next one is due; the least that does
/// it. Empty when nothing does.
[[nodiscard]] QString WhatWouldFit(const AirtimePlan::Site& site, const Calendar& calendar, const QDateTime& from);
