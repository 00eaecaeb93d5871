#include "localtime.h"

#include "walltime.h"

#include <array>

namespace {

int OffsetOf(QDate date, QTime time)
{
    return QDateTime(date, time, Qt::LocalTime).offsetFromUtc();
}

/// Of the times of a day. Asking the zone takes microseconds, and a page of readings asks thousands of times: days
/// without a change, which are nearly all, are asked once.
class OffsetsOfDay final {
public:
    [[nodiscard]] int At(QDate date, QTime time)
    {
        if (date != day) {
            day = date;
            offset = OffsetOf(date, QTime(0, 0));
            isSame = offset == OffsetOf(date, QTime(23, 59, 59));
        }
        return isSame ? offset : OffsetOf(date, time);
    }

private:
    QDate day;
    int offset = 0; ///< s
    bool isSame = false; ///< from midnight to midnight
};

/// One day at a time is asked for, so the last one is enough.
int OffsetAt(const QDateTime& wall)
{
    static thread_local OffsetsOfDay offsets;
    return offsets.At(wall.date(), wall.time());
}

void Append(QByteArray& text, int number, int digits, char before)
{
    std::array<char, 4> written{};
    for (int i = digits - 1; i >= 0; --i, number /= 10)
        written[static_cast<size_t>(i)] = static_cast<char>('0' + number % 10);
    if (before != 0)
        text.append(before);
    text.append(written.data(), digits);
}

} // namespace

QDateTime LocalTime(const QDateTime& wall)
{
    return wall.isValid() ? QDateTime(wall.date(), wall.time(), Qt::OffsetFromUTC, OffsetAt(wall)) : QDateTime();
}

QDateTime WallTimeAt(const QDateTime& moment)
{
    const QDateTime local = moment.toLocalTime();
    return local.isValid() ? WallTime(local.date(), local.time()) : QDateTime();
}

QByteArray IsoBytes(const QDateTime& wall)
{
    const QDate date = wall.date();
    const QTime time = wall.time();
    const int minutes = OffsetAt(wall) / 60;
    QByteArray text;
    text.reserve(25);
    Append(text, date.year(), 4, 0);
    Append(text, date.month(), 2, '-');
    Append(text, date.day(), 2, '-');
    Append(text, time.hour(), 2, 'T');
    Append(text, time.minute(), 2, ':');
    Append(text, time.second(), 2, ':');
    Append(text, std::abs(minutes) / 60, 2, minutes < 0 ? '-' : '+');
    Append(text, std::abs(minutes) % 60, 2, ':');
    return text;
}

QJsonValue IsoText(const QDateTime& wall)
{
    return wall.isValid() ? QJsonValue(QLatin1StringView(IsoBytes(wall))) : QJsonValue();
}
