#include "clock.h"

#include <QDeadlineTimer>

QDateTime CurrentDateTime()
{
    return QDateTime::currentDateTime();
}

qint64 MonotonicMs()
{
    return QDeadlineTimer::current(Qt::PreciseTimer).deadline();
}
