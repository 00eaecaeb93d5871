#include "virtualtime.h"

#include "clock.h"
#include "delay.h"

namespace {
QDateTime now(QDate(2014, 3, 4), QTime(8, 29, 30));
QList<unsigned int> delays;
std::function<void()> companion;
} // namespace

void VirtualTime::Reset(const QDateTime& start)
{
    now = start;
    delays.clear();
    companion = nullptr;
}

void VirtualTime::Advance(qint64 ms)
{
    now = now.addMSecs(ms);
}

void VirtualTime::WhileWaiting(std::function<void()> newCompanion)
{
    companion = std::move(newCompanion);
}

QList<unsigned int> VirtualTime::Delays()
{
    return delays;
}

QDateTime CurrentDateTime()
{
    return now;
}

// A step of the virtual clock is a wait.
qint64 MonotonicMs()
{
    return now.toMSecsSinceEpoch();
}

void Delay(unsigned int ms)
{
    delays.append(ms);
    VirtualTime::Advance(ms);
    if (companion)
        companion();
}
