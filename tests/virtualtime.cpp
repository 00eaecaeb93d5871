#include "virtualtime.h"

#include "clock.h"
#include "delay.h"

namespace {
QDateTime now(QDate(2014, 3, 4), QTime(8, 29, 30));
QList<unsigned int> delays;
} // namespace

void VirtualTime::Reset(const QDateTime& start)
{
    now = start;
    delays.clear();
}

void VirtualTime::Advance(qint64 ms)
{
    now = now.addMSecs(ms);
}

QList<unsigned int> VirtualTime::Delays()
{
    return delays;
}

QDateTime CurrentDateTime()
{
    return now;
}

void Delay(unsigned int ms)
{
    delays.append(ms);
    VirtualTime::Advance(ms);
}
