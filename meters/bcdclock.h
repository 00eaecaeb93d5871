#pragma once

#include <QByteArrayView>
#include <QDateTime>

/// A clock without a time zone. Both parts are invalid when the meter showed no date and time that exist.
struct BcdClock {
    static constexpr qsizetype Size = 7;

    QDate date;
    QTime time;

    /// Meters show local time. Also invalid in the hour that local time skips in spring, which a meter shows all the
    /// same.
    [[nodiscard]] QDateTime Local() const { return {date, time}; }
};

/// A SET meter's clock: `Size` BCD bytes, seconds, minutes, hours, day of the week (not looked at), day, month, year of
/// this century.
[[nodiscard]] BcdClock ReadBcdClock(QByteArrayView bytes);
