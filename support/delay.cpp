#include "delay.h"

#include "ending.h"

#include <QDeadlineTimer>

#include <algorithm>

#include <unistd.h>

void Delay(unsigned int ms)
{
    // The longest time that a wait goes on after the end was requested.
    constexpr qint64 LookEveryMs = 250;

    const QDeadlineTimer deadline(ms, Qt::PreciseTimer);
    Ending::LeaveIfRequested();
    while (!deadline.hasExpired()) {
        const qint64 sliceMs = std::min(deadline.remainingTime(), LookEveryMs);
        ::usleep(static_cast<useconds_t>(sliceMs * 1000));
        Ending::LeaveIfRequested();
    }
}
