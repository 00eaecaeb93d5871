#include "ledgerbook.h"

#include <QSet>

LedgerBook::LedgerBook(
    const QList<LedgerMeter>& registered, const QSet<qint32>& knownBefore, const MonthPlan& plan, const WallZone& zone)
    : outcomes(registered, knownBefore, plan, zone),
      plausibility({}, zone),
      seen(registered)
{
}

void LedgerBook::AddDay(QDate day, const StoredDay& sweeps, const QDateTime& now)
{
    for (const SweepOutcome& outcome : outcomes.AddDay(day, sweeps, now)) {
        incidents.Add(outcome, outcomes.Meters());
        store.Add(outcome, outcomes.Meters());
    }
    plausibility.AddDay(sweeps, seen);
    for (const StoredSweep& sweep : sweeps)
        TakeLast(sweep);
}

void LedgerBook::TakeLast(const StoredSweep& sweep)
{
    QSet<qint32> read;
    QSet<qint32> all;
    for (const ReadingRow& row : sweep.rows) {
        LastRows& rows = last[row.globalId];
        const bool isReading = row.status == 0 && (!row.IsZero() || !rows.readAt.isValid());
        const bool isSecond = rows.asked == sweep.stamp;
        rows.asked = sweep.stamp;
        if (!isSecond || rows.status != 0 || isReading)
            rows.status = isReading || row.status != 0 ? row.status : MeterOutcome::ZeroRow;
        if (isReading) {
            rows.readAt = sweep.stamp;
            rows.energy = row.energy;
            read.insert(row.globalId);
        }
        all.insert(row.globalId);
    }
    newest = {sweep.stamp, static_cast<int>(all.size()), static_cast<int>(read.size())};
}
