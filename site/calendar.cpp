#include "calendar.h"

#include "schedule.h"

#include <QRegularExpression>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

QDateTime NextMinute(const QDateTime& time)
{
    return time.addSecs(60);
}

QDateTime StartOfMinute(const QDateTime& time)
{
    return time.addMSecs(-(time.time().msecsSinceStartOfDay() % 60000));
}

} // namespace

Calendar::Calendar(const SysVar& vars)
{
    const std::pair<QRegularExpression, Due> patterns[] = {{Schedule::Expression(vars.TimeOfSetTime), ClockSetting},
        {Schedule::Expression(vars.TimeOfGetTime), TimeSweep}, {Schedule::Expression(vars.TimeOfQuery), QuerySweep}};
    // A stamp knows no month, so one month of 31 days shows them all.
    QDateTime time(QDate(2000, 1, 1), QTime(0, 0), Qt::UTC);
    for (quint8& due : dueAt) {
        const QString stamp = Schedule::Stamp(time);
        for (const auto& [pattern, what] : patterns)
            if (Schedule::Matches(pattern, stamp))
                due = static_cast<quint8>(due | what);
        time = NextMinute(time);
    }
}

int Calendar::MinutesOf(Due what) const
{
    return static_cast<int>(
        std::count_if(dueAt.begin(), dueAt.end(), [what](quint8 due) { return (due & what) != 0; }));
}

QList<QDateTime> Calendar::Next(Due what, const QDateTime& from, int count) const
{
    QList<QDateTime> minutes;
    if (MinutesOf(what) == 0)
        return minutes;
    const QDateTime end = from.addYears(2);
    for (QDateTime time = StartOfMinute(from); time < end && minutes.size() < count; time = NextMinute(time))
        if (DueAt(time) & what)
            minutes.append(time);
    return minutes;
}

std::array<std::optional<Calendar::Gap>, 8> Calendar::TightestGaps(const QDateTime& from) const
{
    constexpr int TwoMonths = 2 * static_cast<int>(MinutesOfMonth);
    std::array<std::optional<Gap>, 8> tightest;
    std::array<QDateTime, 8> waiting; // started, and no sweep was due since
    QDateTime time = StartOfMinute(from);
    for (int i = 0; i < TwoMonths; ++i, time = NextMinute(time)) {
        const quint8 due = DueAt(time);
        if (due & AnySweep) {
            for (size_t set = 0; set < waiting.size(); ++set) {
                const QDateTime start = std::exchange(waiting[set], {});
                std::optional<Gap>& gap = tightest[set];
                if (start.isValid() && (!gap || start.secsTo(time) < gap->start.secsTo(gap->end)))
                    gap = Gap{start, time};
            }
        }
        if (due != 0)
            waiting[due] = time;
    }
    return tightest;
}

MonthPlan Calendar::PlanOf(quint8 what) const
{
    MonthPlan plan;
    for (size_t minute = 0; minute < dueAt.size(); ++minute)
        plan[minute] = (dueAt[minute] & what) != 0;
    return plan;
}
