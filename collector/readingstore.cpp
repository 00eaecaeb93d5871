// The rows that the collector adds: readings, silence, clocks.

#include "collector.h"
#include "ending.h"
#include "maindatabase.h"
#include "service.h"
#include "statements.h"

#include <QSet>

#include <limits>

using MainBase::ColumnOf;
using MainBase::Execute;
using MainBase::FirstValueOf;
using MainBase::InLiteral;

namespace {

QSet<QString> SetOf(const QStringList& list)
{
    return {list.begin(), list.end()};
}

} // namespace

/// Runs a statement that asks for a date %1 and a time %2. Without a sweep's stamp it fails, and that is expected.
QSqlQuery TCollector::AboutSweep(QStringView statement, const SweepStamp& stamp)
{
    return MainBase::Run(MainBase::Filled(statement, stamp.date, stamp.time),
        stamp.IsValid() ? MainBase::Failure::Told : MainBase::Failure::Expected);
}

/// Of each register at most six significant digits are stored, or nine. With a value that is no number the row is
/// refused.
void TCollector::StoreReading(const QString& globalId, const Energy& energy, const SweepStamp& stamp)
{
    const int digits = vars.field.Has(FieldConduct::Digits) ? std::numeric_limits<float>::max_digits10 : 6;
    const auto text = [digits](float value) { return QString::number(value, 'g', digits); };
    AddToSweep(globalId, 0,
        MainBase::Filled(Statements::InsertReading, globalId, text(energy.total), text(energy.t1), text(energy.t2),
            text(energy.t3), text(energy.t4), stamp.date, stamp.time),
        stamp);
}

void TCollector::StoreSubstationSilence(const QString& globalId)
{
    constexpr int Silent = 1; // as the statement has it
    AddToSweep(globalId, Silent,
        MainBase::Filled(Statements::InsertSubstationSilent, globalId, sweep.sweepDate, sweep.sweepTime),
        sweep.Stamp());
}

QList<TCollector::SilentMeter> TCollector::SilentMeters() const
{
    const QSet<QString> all = SetOf(ColumnOf(Execute(Statements::NodeMeters)));
    const QSet<QString> missing = all - SetOf(ColumnOf(AboutSweep(Statements::AnsweredInSweep, sweep.Stamp())));
    QList<SilentMeter> meters;
    for (const QString& uin : missing) {
        const int globalId = FirstValueOf(Execute(Statements::SilentGlobalIdOf, InLiteral(uin))).toInt();
        meters.append({QString::number(globalId), reports.StatusOf(uin.toUtf8())});
    }
    return meters;
}

QString TCollector::RowOf(const SilentMeter& meter) const
{
    return MainBase::Filled(
        Statements::InsertSilent, meter.globalId, sweep.sweepDate, sweep.sweepTime, QString::number(meter.status));
}

void TCollector::StoreRowsForTheSilent()
{
    QStringList rows;
    for (const SilentMeter& meter : SilentMeters())
        rows.append(RowOf(meter));
    if (MainBase::RunTogether(rows))
        return;
    // Asked again: if the connection broke at the very end, the rows may be stored.
    for (const SilentMeter& meter : SilentMeters()) {
        Ending::LeaveIfRequested(); // each row may wait for a locked database
        AddToSweep(meter.globalId, meter.status, RowOf(meter), sweep.Stamp());
    }
}

/// `row` is the statement that stores the meter, with that status, in the sweep `stamp`. A meter may get two rows: one
/// for its silence, and a reading that came late.
void TCollector::AddToSweep(const QString& globalId, int status, const QString& row, const SweepStamp& stamp)
{
    const auto mayBeThere = [&] {
        QSqlQuery stored = AboutSweep(Statements::ReadingsOfSweep, stamp);
        while (stored.next())
            if (stored.value(0).toString() == globalId && stored.value(6).toInt() == status)
                return true;
        return !stored.isActive();
    };
    const Liveness::Aside aside(Service::Work());
    MainBase::Insert(row, mayBeThere, stamp.IsValid() ? MainBase::Failure::Told : MainBase::Failure::Expected);
}

void TCollector::AddClockReading(const QString& uinLiteral, const QString& dateShown, const QString& timeShown,
    const QString& date, const QString& time)
{
    const auto mayBeThere = [&] {
        const QVariant rows = FirstValueOf(Execute(Statements::ClockReadingCountSince, uinLiteral, date));
        return !rows.isValid() || rows.toInt() > 0;
    };
    MainBase::Insert(MainBase::Filled(Statements::InsertClockReading, uinLiteral, dateShown, timeShown, date, time),
        mayBeThere, MainBase::Failure::Told);
}
