// A reading that does not follow from the one before is doubted until the next one tells which of the two is right.

#include "plausibility.h"

#include <algorithm>
#include <cmath>

using Kind = ReadingFinding::Kind;

namespace {

constexpr double SecondsOfHour = 3600;
constexpr double HoursOfDay = 24;

double Median(QList<double> values)
{
    const auto middle = values.begin() + values.size() / 2;
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// How far a day may be from the median before it counts as unusual. A meter of very even days has a deviation of its
// median's tenth, and nobody's is finer than what is stored.
double DeviationOf(const QList<double>& days, double median, double step)
{
    constexpr double NormalFactor = 1.4826; // makes the median deviation one standard deviation of a normal spread
    QList<double> distances;
    for (const double day : days)
        distances.append(std::abs(day - median));
    return std::max({NormalFactor * Median(distances), median / 10, step});
}

} // namespace

double StoredStep(double kWh)
{
    constexpr int Digits = 6;
    return kWh == 0 ? 0 : std::pow(10, std::floor(std::log10(std::abs(kWh))) + 1 - Digits);
}

QList<ReadingFinding> ChangedNumbers(
    const QList<LedgerMeter>& before, const QList<LedgerMeter>& now, const QDateTime& seen)
{
    QHash<qint32, QString> numbers;
    for (const LedgerMeter& meter : before)
        numbers.insert(meter.globalId, meter.number);
    QList<ReadingFinding> changed;
    for (qsizetype place = 0; place < now.size(); ++place) {
        const auto number = numbers.constFind(now[place].globalId);
        if (number == numbers.constEnd() || *number == now[place].number)
            continue;
        ReadingFinding finding;
        finding.kind = Kind::NumberChanged;
        finding.place = place;
        finding.since = finding.until = seen;
        finding.numberBefore = *number;
        changed.append(finding);
    }
    return changed;
}

void Plausibility::AddDay(const StoredDay& sweeps, MeterList& meters)
{
    for (History& history : histories)
        history.movedToday = false;
    for (const StoredSweep& sweep : sweeps) {
        const std::optional<qint64> moment = zone.MomentOf(sweep.stamp);
        for (const ReadingRow& row : sweep.rows) {
            const qsizetype place = meters.PlaceOf(row.globalId);
            if (histories.size() <= place)
                histories.resize(place + 1);
            if (!moment || row.status != 0 || row.IsZero() || !std::isfinite(row.energy[0]))
                continue;
            Take({sweep.stamp, *moment, row.energy[0]}, place, meters.All()[place]);
            LookAtSum(row, sweep.stamp, place, meters.All()[place]);
        }
    }
    LookForStuck();
}

QList<ReadingFinding> Plausibility::Findings() const
{
    QList<ReadingFinding> all = findings;
    for (qsizetype place = 0; place < histories.size(); ++place) {
        const History& history = histories[place];
        if (history.sum)
            all.append(*history.sum);
        if (const auto unmoved = Unmoved(history, place))
            all.append(*unmoved);
        if (!history.doubted)
            continue;
        const bool back = history.doubted->total < history.last->total;
        ReadingFinding last = FindingOf(back ? Kind::WentBack : Kind::Jump, place, *history.last, *history.doubted);
        last.isConfirmed = false;
        all.append(last);
    }
    DropExplained(all);
    std::stable_sort(
        all.begin(), all.end(), [](const ReadingFinding& a, const ReadingFinding& b) { return a.since < b.since; });
    return all;
}

/// The days in which a meter's register stops and goes on again are unusual for that one reason.
void Plausibility::DropExplained(QList<ReadingFinding>& findings)
{
    QList<ReadingFinding> unmoved;
    std::copy_if(findings.begin(), findings.end(), std::back_inserter(unmoved),
        [](const ReadingFinding& f) { return f.kind == Kind::Stuck || f.kind == Kind::Standstill; });
    findings.removeIf([&unmoved](const ReadingFinding& day) {
        return day.kind == Kind::Unusual
            && std::any_of(unmoved.begin(), unmoved.end(), [&day](const ReadingFinding& still) {
                   return still.place == day.place && day.since <= still.until && day.until >= still.since;
               });
    });
}

void Plausibility::Take(const Reading& reading, qsizetype place, const LedgerMeter& meter)
{
    History& history = histories[place];
    if (history.last && history.last->moment >= reading.moment)
        return; // a second reading of one sweep
    if (history.doubted)
        Settle(reading, place, meter);
    else if (!history.last || Follows({*history.last, reading}, meter))
        Accept(reading, place);
    else
        history.doubted = reading;
}

/// There is a doubted reading, and `reading` comes after it.
void Plausibility::Settle(const Reading& reading, qsizetype place, const LedgerMeter& meter)
{
    History& history = histories[place];
    const Reading doubted = *history.doubted;
    if (doubted.moment >= reading.moment)
        return;
    const bool wentBack = doubted.total < history.last->total;
    const bool fromLast = Follows({*history.last, reading}, meter);
    const bool fromDoubted = Follows({doubted, reading}, meter);
    history.doubted.reset();
    // After a jump both may fit: on average over a longer time there is less of it.
    if (fromLast && (wentBack || !fromDoubted)) {
        findings.append(FindingOf(Kind::OutOfLine, place, *history.last, doubted));
        Accept(reading, place);
        return;
    }
    findings.append(FindingOf(wentBack ? Kind::WentBack : Kind::Jump, place, *history.last, doubted));
    history.dayStart.reset();
    Accept(doubted, place);
    if (fromDoubted)
        Accept(reading, place);
    else
        history.doubted = reading;
}

void Plausibility::Accept(const Reading& reading, qsizetype place)
{
    History& history = histories[place];
    LookAtDay(reading, place);
    if (!history.unchangedSince || history.unchangedSince->total != reading.total) {
        if (const auto unmoved = Unmoved(history, place))
            findings.append(*unmoved);
        history.movedToday = history.unchangedSince.has_value();
        history.unchangedSince = reading;
        history.isStuck = false;
    }
    history.last = reading;
}

/// The use of a day is from its first reading to the first of the next day.
void Plausibility::LookAtDay(const Reading& reading, qsizetype place)
{
    History& history = histories[place];
    if (history.dayStart && history.dayStart->stamp.date() == reading.stamp.date())
        return;
    const std::optional<Reading> start = std::exchange(history.dayStart, reading);
    if (!start)
        return;
    const double hours = static_cast<double>(reading.moment - start->moment) / SecondsOfHour;
    if (hours < HoursOfDay / 2 || hours > HoursOfDay * 3 / 2)
        return;
    const double use = (reading.total - start->total) * HoursOfDay / hours;
    if (history.dayUses.size() >= LeastHistory) {
        const double median = Median(history.dayUses);
        const double deviation = DeviationOf(history.dayUses, median, StoredStep(reading.total));
        // One without any use is told as stuck or as a standstill.
        if (use != 0 && std::abs(use - median) > limits.unusualFactor * deviation) {
            ReadingFinding finding = FindingOf(Kind::Unusual, place, *start, reading);
            finding.since = start->stamp;
            finding.until = reading.stamp;
            finding.before = median;
            finding.value = use;
            findings.append(finding);
        }
    }
    history.dayUses.append(use);
    if (history.dayUses.size() > HistoryDays)
        history.dayUses.removeFirst();
}

/// Each of the five values was rounded to what is stored, and each tariff to hundredths by the meter.
void Plausibility::LookAtSum(const ReadingRow& row, const QDateTime& stamp, qsizetype place, const LedgerMeter& meter)
{
    constexpr double MeterSteps = 0.05;
    if (!meter.hasTariffs)
        return;
    double sum = 0;
    double tolerance = MeterSteps + StoredStep(row.energy[0]);
    for (size_t tariff = 1; tariff < row.energy.size(); ++tariff) {
        sum += row.energy[tariff];
        tolerance += StoredStep(row.energy[tariff]);
    }
    if (std::abs(sum - row.energy[0]) <= tolerance)
        return;
    std::optional<ReadingFinding>& found = histories[place].sum;
    if (!found) {
        found = ReadingFinding{};
        found->kind = Kind::TariffSum;
        found->place = place;
        found->since = stamp;
        found->before = row.energy[0];
        found->value = sum;
        found->times = 0;
    }
    found->until = stamp;
    ++found->times;
}

/// Of the meters that had a reading at the end of this day. One that has no reading cannot be told from a stuck one.
void Plausibility::LookForStuck()
{
    constexpr int LeastSteps = 20; // of what is stored, in a usual day
    const auto moved = std::count_if(histories.begin(), histories.end(), [](const History& h) { return h.movedToday; });
    const auto known = std::count_if(histories.begin(), histories.end(), [](const History& h) { return h.last; });
    for (History& history : histories) {
        if (history.movedToday || !history.last || history.dayUses.size() < LeastHistory || 2 * moved < known - 1)
            continue;
        const double hours = static_cast<double>(history.last->moment - history.unchangedSince->moment) / SecondsOfHour;
        if (hours >= limits.stuckHours && Median(history.dayUses) >= LeastSteps * StoredStep(history.last->total))
            history.isStuck = true;
    }
}

std::optional<ReadingFinding> Plausibility::Unmoved(const History& history, qsizetype place) const
{
    if (!history.last || !history.unchangedSince)
        return std::nullopt;
    const double hours = static_cast<double>(history.last->moment - history.unchangedSince->moment) / SecondsOfHour;
    const bool standstill = hours >= limits.standstillDays * HoursOfDay;
    if (!standstill && !history.isStuck)
        return std::nullopt;
    ReadingFinding finding =
        FindingOf(standstill ? Kind::Standstill : Kind::Stuck, place, *history.unchangedSince, *history.last);
    finding.since = history.unchangedSince->stamp;
    return finding;
}

/// It is not less, and not more than the meter can carry in the time between, apart from what rounding can do.
bool Plausibility::Follows(const Step& step, const LedgerMeter& meter) const
{
    const double rounding = StoredStep(step.from.total) / 2 + StoredStep(step.to.total) / 2;
    const double more = step.to.total - step.from.total;
    const double hours = static_cast<double>(step.to.moment - step.from.moment) / SecondsOfHour;
    const double limitKw = meter.isSubstation ? limits.substationKw : limits.nodeKw;
    return more >= -rounding && more - rounding <= limitKw * hours;
}

ReadingFinding Plausibility::FindingOf(Kind kind, qsizetype place, const Reading& before, const Reading& reading)
{
    ReadingFinding finding;
    finding.kind = kind;
    finding.place = place;
    finding.since = finding.until = reading.stamp;
    finding.before = before.total;
    finding.value = reading.total;
    finding.powerKw =
        (reading.total - before.total) * SecondsOfHour / static_cast<double>(reading.moment - before.moment);
    return finding;
}
