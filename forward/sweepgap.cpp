#include "sweepgap.h"

#include "schedule.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>

namespace {

constexpr int MinutesAhead = 2;
constexpr int MinutesBack = 10; // a sweep that is open adds rows more often than that
constexpr qint64 QuietMs = MinutesBack * 60000;
constexpr qint64 QuietAfterCompleteMs = 40000; // the daemon closes a complete sweep with its next tick, 25 s later

/// How many minutes ago the last sweep was due, at most MinutesBack; negative: it is due so soon. MinutesBack + 1:
/// there was none, and there comes none.
int MinutesSinceDue(const SweepGap& gap)
{
    const std::array patterns{Schedule::Expression(gap.timeOfQuery), Schedule::Expression(gap.timeOfSetTime),
        Schedule::Expression(gap.timeOfGetTime)};
    for (int minutes = -MinutesAhead; minutes <= MinutesBack; ++minutes) {
        const QString stamp = Schedule::Stamp(gap.now.addSecs(-60 * minutes));
        if (std::any_of(patterns.begin(), patterns.end(),
                [&](const QRegularExpression& pattern) { return Schedule::Matches(pattern, stamp); }))
            return minutes;
    }
    return MinutesBack + 1;
}

} // namespace

bool SweepGap::IsNow() const
{
    const int since = MinutesSinceDue(*this);
    if (since <= 0)
        return false;
    if (since > MinutesBack && quietMs >= QuietMs)
        return true;
    const QDateTime due = now.addSecs(-60 * since - now.time().second());
    const bool coversDue = since > MinutesBack || newestSweep >= due;
    return newestSweep.isValid() && newestSweep <= now && missing == 0 && coversDue && quietMs >= QuietAfterCompleteMs;
}
