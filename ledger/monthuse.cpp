#include "monthuse.h"

#include <algorithm>

namespace {

constexpr qint64 FirstHour = 3600;

/// Differences that are less than nothing by rounding alone are none.
bool Subtract(const BilledReading& last, const BilledReading& first, std::array<double, 5>& use)
{
    for (size_t i = 0; i < use.size(); ++i) {
        const double difference = last.energy[i] - first.energy[i];
        if (difference < -(StoredStep(last.energy[i]) + StoredStep(first.energy[i])) / 2)
            return false;
        use[i] = std::max(0.0, difference);
    }
    return true;
}

/// That tells why the use of this meter is not the difference.
std::optional<ReadingFinding> Against(const MeterUse& use, const QList<ReadingFinding>& findings)
{
    using Kind = ReadingFinding::Kind;
    for (const ReadingFinding& finding : findings) {
        if (finding.place != use.place)
            continue;
        const QDateTime& since = finding.since;
        const bool isEnd = since == use.first->stamp || since == use.last->stamp;
        if (finding.kind == Kind::OutOfLine && isEnd)
            return finding;
        if (finding.kind == Kind::WentBack && since > use.first->stamp && since <= use.last->stamp)
            return finding;
    }
    return std::nullopt;
}

} // namespace

MonthUse::MonthUse(QDate month)
    : begin(WallTime(month, QTime(0, 0))),
      end(WallTime(month.addMonths(1), QTime(0, 0))) { }

void MonthUse::AddDay(const StoredDay& sweeps, MeterList& meters)
{
    for (const StoredSweep& sweep : sweeps) {
        if (sweep.stamp >= end.addSecs(FirstHour))
            return;
        for (const ReadingRow& row : sweep.rows) {
            const qsizetype place = meters.PlaceOf(row.globalId);
            if (place >= ends.size())
                ends.resize(place + 1);
            if (row.status == 0 && !row.IsZero())
                Take(ends[place], {sweep.stamp, row.energy});
        }
    }
}

void MonthUse::Take(Ends& of, const BilledReading& reading) const
{
    const bool isOwn = reading.stamp >= begin && reading.stamp < end;
    const bool opens = reading.stamp < begin || (isOwn && !of.isFirstFixed && begin.secsTo(reading.stamp) < FirstHour);
    if (opens || (!of.first && isOwn)) {
        of.first = reading;
        of.isFirstFixed = isOwn;
    } else if (of.first && !of.isLastFixed) {
        of.last = reading;
        of.isLastFixed = !isOwn;
    }
    of.hasOwn = of.hasOwn || isOwn;
}

QList<MeterUse> MonthUse::Uses(const QList<LedgerMeter>& meters, const QList<ReadingFinding>& findings) const
{
    QList<MeterUse> uses;
    for (qsizetype place = 0; place < meters.size(); ++place) {
        MeterUse use;
        use.place = place;
        const Ends known = ends.value(place);
        use.first = known.first;
        use.last = known.last;
        if (known.hasOwn && !use.last)
            use.lack = MeterUse::Lack::OneReading;
        if (use.first && use.last) {
            use.finding = Against(use, findings);
            if (use.finding)
                use.lack = use.finding->kind == ReadingFinding::Kind::WentBack ? MeterUse::Lack::Exchanged
                                                                               : MeterUse::Lack::Doubtful;
            else
                use.lack = Subtract(*use.last, *use.first, use.use) ? MeterUse::Lack::None : MeterUse::Lack::WentBack;
            if (use.lack == MeterUse::Lack::WentBack)
                use.use = {};
        }
        uses.append(use);
    }
    return uses;
}
