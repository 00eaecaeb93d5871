#include "localtime.h"

#include "walltime.h"

QDateTime LocalTime(const QDateTime& wall)
{
    if (!wall.isValid())
        return {};
    const QDateTime local(wall.date(), wall.time(), Qt::LocalTime);
    return local.toOffsetFromUtc(local.offsetFromUtc());
}

QDateTime WallTimeAt(const QDateTime& moment)
{
    const QDateTime local = moment.toLocalTime();
    return local.isValid() ? WallTime(local.date(), local.time()) : QDateTime();
}

QJsonValue IsoText(const QDateTime& wall)
{
    return wall.isValid() ? QJsonValue(LocalTime(wall).toString(Qt::ISODate)) : QJsonValue();
}
