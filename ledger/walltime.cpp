#include "walltime.h"

namespace {

constexpr qint64 Day = 24 * 60 * 60;

} // namespace

QDateTime WallTime(QDate date, QTime time)
{
    return {date, time, Qt::UTC};
}

qint64 WallZone::OffsetAt(qint64 moment) const
{
    return zone.offsetFromUtc(QDateTime::fromSecsSinceEpoch(moment, Qt::UTC));
}

// The offsets a day before and a day after are the two that can hold. Each that holds at the moment which it makes of
// `wall` is one showing of the clock.
int WallZone::TimesOf(const QDateTime& wall) const
{
    const qint64 shown = wall.toSecsSinceEpoch();
    const qint64 before = OffsetAt(shown - Day);
    const qint64 after = OffsetAt(shown + Day);
    if (before == after)
        return 1;
    return (OffsetAt(shown - before) == before ? 1 : 0) + (OffsetAt(shown - after) == after ? 1 : 0);
}

std::optional<qint64> WallZone::MomentOf(const QDateTime& wall) const
{
    if (TimesOf(wall) != 1)
        return std::nullopt;
    const qint64 shown = wall.toSecsSinceEpoch();
    const qint64 before = OffsetAt(shown - Day);
    return shown - (OffsetAt(shown - before) == before ? before : OffsetAt(shown + Day));
}
