#include "duesweeps.h"

QList<DueSweep> DueSweepsOf(QDate day, const MonthPlan& plan, const WallZone& zone)
{
    QList<DueSweep> due;
    for (int minute = 0; minute < 24 * 60; ++minute) {
        const QTime time(minute / 60, minute % 60);
        if (!plan.test(MinuteOfMonth(day, time)))
            continue;
        const QDateTime at = WallTime(day, time);
        if (const int times = zone.TimesOf(at); times > 0)
            due.append({at, times});
    }
    return due;
}
