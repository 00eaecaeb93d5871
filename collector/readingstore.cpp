// Closing a sweep: the rows of those who stayed silent, and the message that carries the sweep to the peers.

#include "busmessages.h"
#include "clock.h"
#include "collector.h"
#include "connector.h"
#include "ending.h"
#include "maindatabase.h"
#include "serverplugin.h"
#include "statements.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using MainBase::ColumnOf;
using MainBase::Execute;
using MainBase::FirstValueOf;
using MainBase::InLiteral;

namespace {

QSet<QString> SetOf(const QStringList& list)
{
    return {list.begin(), list.end()};
}

QByteArray ReadingRecords(const QString& date, const QString& time)
{
    QByteArray records = ""_ba;
    QSqlQuery row = Execute(Statements::ReadingsOfSweep, date, time);
    while (row.next()) {
        const auto energy = [&row](int column) { return static_cast<float>(row.value(column).toDouble()); };
        records +=
            BusMessages::ReadingRecord(row.value(0).toInt(), {energy(1), energy(2), energy(3), energy(4), energy(5)},
                date, time, static_cast<qint16>(row.value(6).toInt()));
    }
    return records;
}

QByteArray ClockRecords(const QString& date)
{
    QByteArray records = ""_ba;
    QSqlQuery row = Execute(Statements::ClockReadingsOfDate, date);
    while (row.next()) {
        const auto text = [&row](int column) { return row.value(column).toString(); };
        const int globalId = FirstValueOf(Execute(Statements::ClockGlobalIdOf, InLiteral(text(0)))).toInt();
        records += BusMessages::ClockRecord(globalId, text(1) + u' ' + text(2), text(3) + u' ' + text(4));
    }
    return records;
}

} // namespace

bool TCollector::CreateTemporaryDB()
{
    const QString fileName = BusMessages::FileName(sweepDate, sweepTime);
    StoreRowsForTheSilent();
    SendToPeers(BusMessages::TemporaryDatabase("tempdb"_ba, fileName, ReadingRecords(sweepDate, sweepTime)));
    return true;
}

bool TCollector::CreateTemporaryDB_time()
{
    const QString fileName = "time_"_L1 + BusMessages::FileName(sweepDate, sweepTime);
    sweepDate = CurrentDateTime().toString(u"yyyy-MM-dd"_s); // a sweep that went past midnight sends the new day's
    TryClockPlaceholders();
    SendToPeers(BusMessages::TemporaryDatabase("tempdb_t"_ba, fileName, ClockRecords(sweepDate)));
    timeSweepActive = false;
    return true;
}

QList<TCollector::SilentMeter> TCollector::SilentMeters()
{
    const QSet<QString> all = SetOf(ColumnOf(Execute(Statements::NodeMeters)));
    const QSet<QString> missing = all - SetOf(ColumnOf(Execute(Statements::AnsweredInSweep, sweepDate, sweepTime)));
    QList<SilentMeter> meters;
    for (const QString& uin : missing) {
        const int globalId = FirstValueOf(Execute(Statements::SilentGlobalIdOf, InLiteral(uin))).toInt();
        meters.append({QString::number(globalId), meterState[uin.toUtf8()]});
    }
    return meters;
}

QString TCollector::RowOf(const SilentMeter& meter) const
{
    return MainBase::Filled(
        Statements::InsertSilent, meter.globalId, sweepDate, sweepTime, QString::number(meter.status));
}

void TCollector::StoreRowsForTheSilent()
{
    QStringList rows;
    for (const SilentMeter& meter : SilentMeters())
        rows.append(RowOf(meter));
    if (MainBase::RunTogether(rows))
        return;
    // Asked anew: if the connection broke at the very end, the rows may be there.
    for (const SilentMeter& meter : SilentMeters()) {
        Ending::LeaveIfRequested(); // a locked database takes its time for each
        AddToSweep(meter.globalId, meter.status, RowOf(meter));
    }
}

/// `row` is the meter's, with that status, in the last sweep. A late reading may follow a row that told of silence.
void TCollector::AddToSweep(const QString& globalId, int status, const QString& row)
{
    MainBase::Insert(row, [&] {
        QSqlQuery stored = Execute(Statements::ReadingsOfSweep, sweepDate, sweepTime);
        while (stored.next())
            if (stored.value(0).toString() == globalId && stored.value(6).toInt() == status)
                return true;
        return !stored.isActive();
    });
}

void TCollector::TryClockPlaceholders()
{
    const QSet<QString> all = SetOf(ColumnOf(Execute(Statements::NodeMeters)));
    for (const QString& uin : all - SetOf(timeAnswered)) {
        // The address stands outside quotes, where only letters and digits cannot make another statement.
        if (std::all_of(uin.begin(), uin.end(), [](QChar c) { return c.isLetterOrNumber(); }))
            Execute(Statements::InsertClockPlaceholder, uin);
    }
}

void TCollector::SendToPeers(const QByteArray& message)
{
    LogText(tr("Observed reading!"));
    plugin->Connector->SetDataAll(0, message);
}
