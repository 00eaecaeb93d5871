#pragma once

#include <QDate>
#include <QTime>

#include <bitset>

inline constexpr size_t MinutesOfMonth = 31 * 24 * 60;

/// The minutes in which a schedule names something. Its patterns see day of the month, hour and minute, and nothing
/// else, so one month of 31 days shows all of them.
using MonthPlan = std::bitset<MinutesOfMonth>;

/// The place of a minute in a MonthPlan. Both have to be valid.
[[nodiscard]] inline size_t MinuteOfMonth(QDate date, QTime time)
{
    const int minute = ((date.day() - 1) * 24 + time.hour()) * 60 + time.minute();
    return static_cast<size_t>(minute);
}
