#include "tickminutes.h"

#include "schedule.h"

TickMinutes MinutesSince(const QDateTime& last, const QDateTime& now)
{
    constexpr qsizetype Most = 24 * 60;
    constexpr qint64 Minute = 60;
    TickMinutes minutes{now, true, {}};
    if (!last.isValid() || now < last)
        return minutes;
    const QString stamp = Schedule::Stamp(now);
    minutes.isNew = Schedule::Stamp(last) != stamp || last.secsTo(now) > Minute;
    QDateTime minute = last.addSecs(Minute);
    for (; minute < now && Schedule::Stamp(minute) != stamp && minutes.passed.size() < Most;
         minute = minute.addSecs(Minute))
        minutes.passed.append(minute);
    return minutes;
}
