#include "meterclocks.h"

#include "walltime.h"

#include <QHash>

#include <algorithm>
#include <cmath>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

constexpr double SecondsOfDay = 24 * 60 * 60;

std::optional<QDateTime> TimeIn(const QString& date, const QString& time)
{
    const QDate day = QDate::fromString(date, u"yyyy-MM-dd"_s);
    const QTime clock = QTime::fromString(time, u"hh:mm:ss"_s);
    return day.isValid() && clock.isValid() ? std::optional(WallTime(day, clock)) : std::nullopt;
}

/// Of a time of day, of which the nearest is meant.
double NearestToZero(double seconds)
{
    return std::remainder(seconds, SecondsOfDay);
}

struct OffsetReading {
    QDateTime asked;
    double seconds = 0;
};

std::optional<OffsetReading> OffsetIn(const ClockRow& row, bool tellsDate)
{
    const auto shown = TimeIn(row.dateShown, row.timeShown);
    const auto asked = TimeIn(row.dateAsked, row.timeAsked);
    if (!shown || !asked)
        return std::nullopt;
    const auto seconds = static_cast<double>(asked->secsTo(*shown));
    return OffsetReading{*asked, tellsDate ? seconds : NearestToZero(seconds)};
}

/// By date: how far this computer's clock was ahead of the reference, s.
QHash<QDate, double> ReferenceOf(const QString& uin, const QList<ClockRow>& rows)
{
    QHash<QDate, double> ahead;
    for (const ClockRow& row : rows)
        if (row.uin == uin)
            if (const auto offset = OffsetIn(row, false))
                ahead.insert(offset->asked.date(), offset->seconds);
    return ahead;
}

struct Collected {
    QList<OffsetReading> offsets;
    bool isReferenced = false; ///< the last one
    int unreadable = 0;
};

MeterClock ClockOf(qsizetype place, const Collected& collected, const ClockLimits& limits)
{
    MeterClock clock;
    clock.place = place;
    clock.readings = static_cast<int>(collected.offsets.size());
    clock.unreadable = collected.unreadable;
    if (!clock.IsKnown())
        return clock;
    clock.asked = collected.offsets.constLast().asked;
    clock.offset = collected.offsets.constLast().seconds;
    clock.isReferenced = collected.isReferenced;
    QList<double> days;
    QList<double> offsets;
    for (const OffsetReading& reading : collected.offsets) {
        days.append(static_cast<double>(collected.offsets[0].asked.secsTo(reading.asked)) / SecondsOfDay);
        offsets.append(reading.seconds);
    }
    clock.drift = DriftOf(days, offsets);
    clock.isOff = std::abs(clock.offset) > limits.offsetSeconds;
    clock.drifts = clock.drift && std::abs(*clock.drift) > limits.driftSecondsPerDay;
    return clock;
}

/// Where each stretch between two steps begins. A step is a change that is far from the usual one.
QList<qsizetype> Stretches(const QList<double>& offsets)
{
    constexpr double StepSeconds = 5;
    QList<double> changes;
    for (qsizetype i = 1; i < offsets.size(); ++i)
        changes.append(offsets[i] - offsets[i - 1]);
    QList<double> sorted = changes;
    std::sort(sorted.begin(), sorted.end());
    QList<qsizetype> begins{0};
    for (qsizetype i = 0; i < changes.size(); ++i)
        if (std::abs(changes[i] - sorted[sorted.size() / 2]) > StepSeconds)
            begins.append(i + 1);
    return begins;
}

} // namespace

QList<MeterClock> MeterClocks(const QList<LedgerMeter>& meters, const QList<ClockRow>& rows, const ClockLimits& limits)
{
    QHash<QString, qsizetype> places;
    QString reference; // empty without a substation meter
    for (qsizetype place = 0; place < meters.size(); ++place) {
        if (meters[place].isSubstation)
            reference = meters[place].uin;
        else if (meters[place].inRegister)
            places.insert(meters[place].uin, place);
    }
    const QHash<QDate, double> ahead = ReferenceOf(reference, rows);
    QHash<qsizetype, Collected> collectedOf;
    for (const ClockRow& row : rows) {
        const auto place = places.constFind(row.uin);
        if (place == places.constEnd())
            continue;
        Collected& collected = collectedOf[*place];
        if (auto offset = OffsetIn(row, meters[*place].clockTellsDate)) {
            collected.isReferenced = ahead.contains(offset->asked.date());
            offset->seconds += ahead.value(offset->asked.date());
            collected.offsets.append(*offset);
        } else {
            ++collected.unreadable;
        }
    }
    QList<MeterClock> clocks;
    for (qsizetype place = 0; place < meters.size(); ++place)
        if (!meters[place].isSubstation && meters[place].inRegister)
            clocks.append(ClockOf(place, collectedOf.value(place), limits));
    return clocks;
}

QList<ClockOffset> ClockOffsets(const LedgerMeter& meter, const QString& reference, const QList<ClockRow>& rows)
{
    const QHash<QDate, double> ahead = ReferenceOf(reference, rows);
    QList<ClockOffset> offsets;
    for (const ClockRow& row : rows) {
        if (row.uin != meter.uin)
            continue;
        if (const auto offset = OffsetIn(row, meter.clockTellsDate))
            offsets.append({offset->asked, offset->asked.addSecs(static_cast<qint64>(offset->seconds)),
                offset->seconds + ahead.value(offset->asked.date())});
    }
    return offsets;
}

std::optional<double> DriftOf(const QList<double>& days, const QList<double>& offsets)
{
    constexpr double LeastDays = 2;
    if (days.isEmpty())
        return std::nullopt;
    double products = 0;
    double squares = 0;
    double longest = 0;
    qsizetype most = 0;
    QList<qsizetype> bounds = Stretches(offsets);
    bounds.append(offsets.size());
    for (qsizetype i = 1; i < bounds.size(); ++i) {
        const qsizetype begin = bounds[i - 1];
        const qsizetype size = bounds[i] - begin;
        const auto mean = [&](const QList<double>& values) {
            return std::accumulate(values.begin() + begin, values.begin() + begin + size, 0.0)
                / static_cast<double>(size);
        };
        const double meanDay = mean(days);
        const double meanOffset = mean(offsets);
        for (qsizetype j = begin; j < begin + size; ++j) {
            products += (days[j] - meanDay) * (offsets[j] - meanOffset);
            squares += (days[j] - meanDay) * (days[j] - meanDay);
        }
        longest = std::max(longest, days[begin + size - 1] - days[begin]);
        most = std::max(most, size);
    }
    constexpr qsizetype LeastReadings = 3;
    return most < LeastReadings || longest < LeastDays ? std::nullopt : std::optional(products / squares);
}
