// Closing a sweep: the rows of the silent meters, and the message that carries the sweep to the peers.

#include "busmessages.h"
#include "clock.h"
#include "collector.h"
#include "connector.h"
#include "maindatabase.h"
#include "serverplugin.h"
#include "statements.h"

#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;
using MainBase::Execute;
using MainBase::InLiteral;

namespace {

QByteArray ClockRecords(const QString& date)
{
    QByteArray records = ""_ba;
    QSqlQuery row = Execute(Statements::ClockReadingsOfDate, date);
    while (row.next()) {
        const auto text = [&row](int column) { return row.value(column).toString(); };
        const int globalId = MainBase::FirstValueOf(Execute(Statements::ClockGlobalIdOf, InLiteral(text(0)))).toInt();
        records += BusMessages::ClockRecord(globalId, text(1) + u' ' + text(2), text(3) + u' ' + text(4));
    }
    return records;
}

} // namespace

bool TCollector::CreateTemporaryDB()
{
    const QString fileName = BusMessages::FileName(sweep.sweepDate, sweep.sweepTime);
    StoreRowsForTheSilent();
    SendToPeers(BusMessages::TemporaryDatabase("tempdb"_ba, fileName, ReadingRecords()));
    return true;
}

bool TCollector::CreateTemporaryDB_time()
{
    const QString fileName = "time_"_L1 + BusMessages::FileName(sweep.sweepDate, sweep.sweepTime);
    // After midnight these are the readings of the new day.
    if (!vars.field.Has(FieldConduct::Order))
        sweep.sweepDate = CurrentDateTime().toString(u"yyyy-MM-dd"_s);
    TryClockPlaceholders();
    SendToPeers(BusMessages::TemporaryDatabase("tempdb_t"_ba, fileName, ClockRecords(sweep.sweepDate)));
    sweep.timeSweepActive = false;
    return true;
}

QByteArray TCollector::ReadingRecords() const
{
    QByteArray records = ""_ba;
    QSqlQuery row = AboutSweep(Statements::ReadingsOfSweep, sweep.Stamp());
    while (row.next()) {
        const auto energy = [&row](int column) { return static_cast<float>(row.value(column).toDouble()); };
        records +=
            BusMessages::ReadingRecord(row.value(0).toInt(), {energy(1), energy(2), energy(3), energy(4), energy(5)},
                sweep.sweepDate, sweep.sweepTime, static_cast<qint16>(row.value(6).toInt()));
    }
    return records;
}

void TCollector::TryClockPlaceholders()
{
    const QStringList all = MainBase::ColumnOf(Execute(Statements::NodeMeters));
    const QSet<QString> answered(timeAnswered.begin(), timeAnswered.end());
    for (const QString& uin : QSet<QString>(all.begin(), all.end()) - answered) {
        // The address stands outside quotes, where only letters and digits cannot make another statement.
        if (std::all_of(uin.begin(), uin.end(), [](QChar c) { return c.isLetterOrNumber(); }))
            MainBase::Run(MainBase::Filled(Statements::InsertClockPlaceholder, uin), MainBase::Failure::Expected);
    }
}

void TCollector::SendToPeers(const QByteArray& message)
{
    LogText(tr("Observed reading!"));
    plugin->Connector->SetDataAll(0, message);
}
