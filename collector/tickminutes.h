#pragma once

#include <QDateTime>
#include <QList>

/// What a tick looks at in the schedule.
struct TickMinutes {
    QDateTime now;
    bool isNew = true; ///< no tick before has looked at this minute
    QList<QDateTime> passed; ///< a moment in each minute between the last tick's and this one's
};

/// `last` is when the last tick began, invalid for the first tick. When the clock was set back in between, the minute
/// counts as new; when it was set forward by more than a day, a day's minutes have passed.
[[nodiscard]] TickMinutes MinutesSince(const QDateTime& last, const QDateTime& now);
