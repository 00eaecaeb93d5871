#include "completeness.h"

#include <algorithm>
#include <cmath>

namespace {

// What a row says comes first; what is left of the gaps has no row.
void CountGaps(ReadingCounts& counts, const MeterOutcome& outcome, const LedgerMeter& meter, int due, int made)
{
    const int gaps = due - outcome.read;
    const int silent = std::min<int>(gaps, outcome.silent);
    const int notSwept = std::min(gaps - silent, due - made);
    const auto add = [&counts](Gap gap, int count) { counts.gaps[static_cast<size_t>(gap)] += count; };
    add(meter.answersStored ? GapOf(outcome.status, meter) : Gap::NotStored, silent);
    add(Gap::NoSweep, notSwept);
    add(Gap::NoRow, gaps - silent - notSwept);
}

} // namespace

Gap GapOf(int status, const LedgerMeter& meter)
{
    switch (status) {
    case 1:
        return meter.isSubstation ? Gap::SubstationSilent : Gap::Undecodable;
    case 2:
        return Gap::NoReading;
    case 3:
        return Gap::NotDelivered;
    case 255:
        return Gap::NothingHeard;
    case MeterOutcome::ZeroRow:
        return Gap::ZeroRow;
    default:
        return Gap::UnknownStatus;
    }
}

ReadingCounts& ReadingCounts::operator+=(const ReadingCounts& other)
{
    due += other.due;
    read += other.read;
    late += other.late;
    byDeadline += other.byDeadline;
    perhapsByDeadline += other.perhapsByDeadline;
    for (size_t i = 0; i < gaps.size(); ++i)
        gaps[i] += other.gaps[i];
    return *this;
}

double Percent(int part, int whole)
{
    return whole == 0 ? 100 : std::floor(1000.0 * part / whole) / 10;
}

ReadingCounts DayCounts::Sum() const
{
    ReadingCounts sum;
    for (const ReadingCounts& meter : meters)
        sum += meter;
    return sum;
}

void Completeness::Add(const SweepOutcome& outcome, const QList<LedgerMeter>& meters)
{
    if (!outcome.IsExpected())
        return;
    for (const QDateTime& stamp : outcome.stamps)
        TakeDeadline(stamp);
    const QDate date = outcome.due.at.date();
    if (days.isEmpty() || days.constLast().counts.day != date)
        days.append(OpenDay{.counts = {.day = date, .meters = {}}, .waiting = {}});
    auto& [day, waiting] = days.last();
    day.sweepsDue += outcome.due.times;
    day.sweepsMade += outcome.made;
    day.meters.resize(outcome.meters.size());
    waiting.next.resize(outcome.meters.size());
    waiting.afterNext.resize(outcome.meters.size());
    const bool inTime = !outcome.stamps.isEmpty() && outcome.stamps.constLast() <= DeadlineOf(date);
    for (qsizetype i = 0; i < outcome.meters.size(); ++i) {
        const MeterOutcome& meter = outcome.meters[i];
        if (!meter.isExpected)
            continue;
        ReadingCounts& counts = day.meters[i];
        counts.due += outcome.due.times;
        counts.read += meter.read;
        counts.late += meter.late;
        CountGaps(counts, meter, meters[i], outcome.due.times, outcome.made);
        if (inTime) {
            counts.perhapsByDeadline += meter.read;
            waiting.next[i] += meter.read - meter.late;
            waiting.afterNext[i] += meter.late;
        }
    }
}

QList<DayCounts> Completeness::Days() const
{
    QList<DayCounts> counts;
    for (const OpenDay& day : days)
        counts.append(day.counts);
    return counts;
}

void Completeness::TakeDeadline(const QDateTime& stamp)
{
    for (auto day = days.rbegin(); day != days.rend() && stamp <= DeadlineOf(day->counts.day); ++day)
        for (qsizetype i = 0; i < day->waiting.next.size(); ++i) {
            ReadingCounts& counts = day->counts.meters[i];
            const int certain = std::exchange(day->waiting.next[i], std::exchange(day->waiting.afterNext[i], 0));
            counts.byDeadline += certain;
            counts.perhapsByDeadline -= certain;
        }
}

QDateTime Completeness::DeadlineOf(QDate day) const
{
    return WallTime(day.addDays(1), QTime(0, 0)).addSecs(60LL * deadlineMinutes);
}
