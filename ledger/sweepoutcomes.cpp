#include "sweepoutcomes.h"

#include <algorithm>

namespace {

struct RowsOfMeter {
    int readings = 0;
    int silences = 0;
};

// A late answer adds its reading to the row of silence. Where two sweeps share a stamp, they are two answers instead.
int LateOf(const RowsOfMeter& rows, int times)
{
    return times == 1 ? std::min(rows.readings, rows.silences) : 0;
}

QDateTime LongAgo()
{
    return WallTime(QDate(1970, 1, 1), QTime(0, 0));
}

} // namespace

bool SweepOutcome::IsExpected() const
{
    return std::any_of(meters.begin(), meters.end(), [](const MeterOutcome& meter) { return meter.isExpected; });
}

SweepOutcomes::SweepOutcomes(const QList<LedgerMeter>& registered, const QSet<qint32>& knownBefore,
    const MonthPlan& plan_, const WallZone& zone_)
    : meters(registered),
      known(registered.size()),
      plan(plan_),
      zone(zone_)
{
    for (qsizetype i = 0; i < registered.size(); ++i)
        if (knownBefore.contains(registered[i].globalId))
            known[i].since = LongAgo();
}

QList<SweepOutcome> SweepOutcomes::AddDay(QDate day, const StoredDay& sweeps, const QDateTime& now)
{
    Expect(day);
    for (const StoredSweep& sweep : sweeps)
        for (SweepOutcome& outcome : open)
            if (outcome.due.at <= sweep.stamp && sweep.stamp < outcome.end)
                Lay(outcome, sweep);
    return TakeThoseThatEndBy(std::min(now, WallTime(day.addDays(1), QTime(0, 0))));
}

void SweepOutcomes::Expect(QDate day)
{
    QList<DueSweep> due = DueSweepsOf(day, plan, zone);
    const qsizetype count = due.size();
    due += DueSweepsOf(day.addDays(1), plan, zone);
    for (qsizetype i = 0; i < count; ++i) {
        const QDateTime latest = due[i].at.addSecs(LatestStartHours * 60 * 60);
        SweepOutcome outcome;
        outcome.due = due[i];
        outcome.end = i + 1 < due.size() ? std::min(latest, due[i + 1].at) : latest;
        open.append(outcome);
    }
}

void SweepOutcomes::Lay(SweepOutcome& outcome, const StoredSweep& sweep)
{
    outcome.stamps.append(sweep.stamp);
    QHash<qsizetype, RowsOfMeter> rowsOf;
    int most = 1; // under a stamp that two sweeps share, a meter has two readings
    for (const ReadingRow& row : sweep.rows) {
        const qsizetype place = meters.PlaceOf(row.globalId);
        if (known.size() <= place)
            known.resize(place + 1);
        if (outcome.meters.size() < meters.All().size())
            outcome.meters.resize(meters.All().size());
        if (!known[place].since.isValid())
            known[place].since = sweep.stamp;
        RowsOfMeter& rows = rowsOf[place];
        if (row.status == 0 && (!row.IsZero() || !known[place].hasEnergy)) {
            known[place].hasEnergy |= !row.IsZero();
            most = std::max(most, ++rows.readings);
        } else {
            ++rows.silences;
            outcome.meters[place].status = row.status == 0 ? MeterOutcome::ZeroRow : row.status;
        }
    }
    outcome.made = std::min(outcome.due.times, outcome.made + most);
    for (auto rows = rowsOf.cbegin(); rows != rowsOf.cend(); ++rows) {
        MeterOutcome& meter = outcome.meters[rows.key()];
        const int late = LateOf(*rows, outcome.due.times);
        const bool isFirst = meter.read == 0;
        meter.read = static_cast<quint8>(std::min(outcome.due.times, meter.read + rows->readings));
        if (isFirst || rows->readings > late) // a reading in time is better than one that came late
            meter.late = static_cast<quint8>(isFirst ? std::min<int>(late, meter.read) : 0);
        meter.silent = static_cast<quint8>(std::min(255, meter.silent + rows->silences));
    }
}

QList<SweepOutcome> SweepOutcomes::TakeThoseThatEndBy(const QDateTime& time)
{
    QList<SweepOutcome> taken;
    while (!open.isEmpty() && open.constFirst().end <= time) {
        Complete(open.first());
        taken.append(open.takeFirst());
    }
    return taken;
}

void SweepOutcomes::Complete(SweepOutcome& outcome)
{
    const QList<LedgerMeter>& all = meters.All();
    outcome.meters.resize(all.size());
    for (qsizetype i = 0; i < all.size(); ++i)
        outcome.meters[i].isExpected =
            all[i].inRegister ? known[i].since.isValid() && known[i].since < outcome.end : outcome.meters[i].HasRow();
}
