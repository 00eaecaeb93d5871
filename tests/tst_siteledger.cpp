// The ledger that is kept up to date: beside one that reads all rows at once, through midnights, changes of month and
// of summer time, with a database that goes away and a register that changes.

#include "clock.h"
#include "registerdatabase.h"
#include "siteledger.h"
#include "virtualtime.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QDateTime Local(const QString& text)
{
    return QDateTime::fromString(text, u"yyyy-MM-dd hh:mm:ss"_s);
}

/// A database with its ledger. The substation meter is 1; 11 and 12 are behind nodes.
class Site {
public:
    explicit Site(const QString& now, int days = 4)
    {
        vars.BDType = u"sqlite3"_s;
        vars.BaseName = directory.filePath(u"z.db"_s);
        vars.TimeOfQuery = u"0[0-4]:00$|12:00$|23:00$"_s;
        vars.TimeOfGetTime = u"00:15$"_s;
        RegisterDatabase database(vars);
        if (!database.Open(RegisterDatabase::Missing::IsMade) || !database.CreateSchema())
            qFatal("%s", qPrintable(database.Error()));
        Run(u"INSERT INTO \"Counters\" VALUES (1, 'KTP', '7', 'SET3', 1, ''), (11, 'A', '8', 'SET3', 0, ''), "
            "(12, 'B', '9', 'SET3', 0, '')"_s);
        VirtualTime::Reset(Local(now));
        settings.days = days;
        ledger = std::make_unique<SiteLedger>(vars, u"test"_s, settings);
        ledger->Start();
        Settle();
    }

    void Run(const QString& statement)
    {
        {
            QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"writer"_s);
            database.setDatabaseName(vars.BaseName);
            QSqlQuery query(database.open() ? database : QSqlDatabase());
            if (!query.exec(statement))
                qFatal("%s", qPrintable(query.lastError().text()));
        }
        QSqlDatabase::removeDatabase(u"writer"_s);
    }

    /// Rows "id" or "id:status" under a stamp. Readings rise by the hour.
    void Sweep(const QString& stamp, const QStringList& rows)
    {
        const double total = 100 + static_cast<double>(Local(u"2024-01-01 00:00:00"_s).secsTo(Local(stamp))) / 3600;
        for (const QString& row : rows) {
            const int status = row.section(u':', 1).toInt();
            Run(u"INSERT INTO Main_Data VALUES (%1, %2, %2, 0, 0, 0, '%3', '%4', %5)"_s.arg(row.section(u':', 0, 0))
                    .arg(status == 0 ? total : 0)
                    .arg(stamp.left(10), stamp.mid(11))
                    .arg(status));
        }
    }

    /// The clock shows that, and the ledger has looked.
    void Look(const QString& now)
    {
        VirtualTime::Reset(Local(now));
        ledger->Refresh();
        Settle();
    }

    void Settle() const
    {
        while (ledger->IsBusy())
            QCoreApplication::processEvents();
    }

    /// "03-30 02:00 rrd": a line for each due sweep.
    [[nodiscard]] QStringList Table() const
    {
        QStringList lines;
        const QJsonObject sweeps = ledger->Sweeps(Local(u"2024-01-01 00:00:00"_s), Local(u"2025-01-01 00:00:00"_s));
        for (const QJsonValue sweep : sweeps[u"sweeps"_s].toArray())
            lines.append(
                sweep[u"due"_s].toString().mid(5, 11).replace(u'T', u' ') + u' ' + sweep[u"outcomes"_s].toString());
        return lines;
    }

    QTemporaryDir directory;
    SysVar vars;
    SiteLedgerSettings settings;
    std::unique_ptr<SiteLedger> ledger;
};

} // namespace

class tst_SiteLedger : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("TZ", "Europe/Berlin");
        QCOMPARE(Local(u"2024-07-01 00:00:00"_s).offsetFromUtc(), 7200);
    }

    /// Each row plays on from a first look at the time `begin`; `then` are "LOOK time" and "stamp rows".
    void table_data()
    {
        QTest::addColumn<QString>("begin");
        QTest::addColumn<QStringList>("then");
        QTest::addColumn<QStringList>("table");
        QTest::addRow("a sweep counts when it is over; then a silence, a late answer, one left out")
            << u"2024-03-05 00:30:00"_s
            << QStringList{u"2024-03-05 00:00:07 1 11 12"_s, u"LOOK 2024-03-05 00:59:59"_s,
                   u"2024-03-05 01:00:07 1 11:3 12:255 12"_s, u"LOOK 2024-03-05 03:00:00"_s}
            << QStringList{u"03-05 00:00 rrr"_s, u"03-05 01:00 rdl"_s, u"03-05 02:00 ___"_s};
        QTest::addRow("rows of yesterday still come after midnight; the month changes")
            << u"2024-02-29 23:30:00"_s
            << QStringList{u"2024-02-29 23:00:07 1 11"_s, u"LOOK 2024-03-01 00:00:10"_s, u"2024-02-29 23:00:07 12:2"_s,
                   u"2024-03-01 00:00:12 1 11 12"_s, u"LOOK 2024-03-01 01:00:00"_s}
            << QStringList{u"02-29 23:00 rrn"_s, u"03-01 00:00 rrr"_s};
        QTest::addRow("two days pass unlooked")
            << u"2024-03-05 23:30:00"_s
            << QStringList{u"2024-03-05 23:00:07 1 11 12"_s, u"2024-03-07 23:00:07 1 11 12:1"_s,
                   u"LOOK 2024-03-08 00:00:00"_s}
            << QStringList{u"03-05 23:00 rrr"_s, u"03-06 00:00 ___"_s, u"03-06 01:00 ___"_s, u"03-06 02:00 ___"_s,
                   u"03-06 03:00 ___"_s, u"03-06 04:00 ___"_s, u"03-06 12:00 ___"_s, u"03-06 23:00 ___"_s,
                   u"03-07 00:00 ___"_s, u"03-07 01:00 ___"_s, u"03-07 02:00 ___"_s, u"03-07 03:00 ___"_s,
                   u"03-07 04:00 ___"_s, u"03-07 12:00 ___"_s, u"03-07 23:00 rru"_s};
        QTest::addRow("the day of 23 hours has no 02:00")
            << u"2024-03-31 00:30:00"_s
            << QStringList{u"2024-03-31 00:00:07 1 11 12"_s, u"2024-03-31 01:00:07 1 11 12"_s,
                   u"2024-03-31 03:00:07 1 11 12"_s, u"LOOK 2024-03-31 04:00:00"_s}
            << QStringList{u"03-31 00:00 rrr"_s, u"03-31 01:00 rrr"_s, u"03-31 03:00 rrr"_s};
        QTest::addRow("the day of 25 hours has it twice, and a gap shows")
            << u"2024-10-27 00:30:00"_s
            << QStringList{u"2024-10-27 01:00:07 1 11 12"_s, u"2024-10-27 02:00:07 1 11 12"_s,
                   u"2024-10-27 02:00:09 1 11 12:3"_s, u"LOOK 2024-10-27 03:00:00"_s}
            << QStringList{u"10-27 01:00 rrr"_s, u"10-27 02:00 rrd"_s};
    }
    void table()
    {
        QFETCH(QString, begin);
        QFETCH(QStringList, then);
        QFETCH(QStringList, table);
        Site site(begin);
        for (const QString& line : then)
            if (line.startsWith(u"LOOK "_s))
                site.Look(line.mid(5));
            else
                site.Sweep(line.left(19), line.mid(20).split(u' '));
        QCOMPARE(site.Table(), table);
        // One that reads all of it anew says the same, in every answer.
        SiteLedger other(site.vars, u"other"_s, site.settings);
        other.Start();
        while (other.IsBusy())
            QCoreApplication::processEvents();
        QCOMPARE(site.ledger->Meters(), other.Meters());
        QCOMPARE(site.ledger->IncidentsNow(), other.IncidentsNow());
        const QDate day = CurrentDateTime().date();
        QCOMPARE(site.ledger->Ledger(day.addDays(-3), day), other.Ledger(day.addDays(-3), day));
        QVERIFY(!QJsonDocument::fromJson(other.Ledger(day.addDays(-3), day))[u"days"_s].toArray().isEmpty());
    }

    void incidentsBeginAndEnd()
    {
        Site site(u"2024-03-05 12:30:00"_s);
        site.Sweep(u"2024-03-05 12:00:07"_s, {u"1"_s, u"11"_s, u"12"_s});
        site.Look(u"2024-03-05 13:30:00"_s);
        QSignalSpy began(site.ledger.get(), &SiteLedger::IncidentBegan);
        QSignalSpy ended(site.ledger.get(), &SiteLedger::IncidentEnded);
        site.Sweep(u"2024-03-05 23:00:07"_s, {u"1"_s, u"11:255"_s, u"12:255"_s});
        site.Look(u"2024-03-06 00:00:30"_s);
        QCOMPARE(began.size(), 1);
        QCOMPARE(began[0][0].toJsonObject()[u"kind"_s], u"modem_deaf"_s);
        QCOMPARE(began[0][0].toJsonObject()[u"since"_s], u"2024-03-05T23:00:00+01:00"_s);
        QCOMPARE(site.ledger->OpenIncidents()[u"modem_deaf"_s], 1);
        QCOMPARE(site.ledger->ModemDeafSince(), Local(u"2024-03-05 23:00:00"_s));
        site.Sweep(u"2024-03-06 00:00:07"_s, {u"1"_s, u"11"_s, u"12"_s});
        site.Look(u"2024-03-06 01:00:30"_s);
        QCOMPARE(began.size(), 1);
        QCOMPARE(ended.size(), 1);
        QCOMPARE(site.ledger->OpenIncidents()[u"modem_deaf"_s], 0);
        site.Look(u"2024-03-09 12:30:00"_s); // the days before have left the window
        QCOMPARE(site.ledger->MetersNow()[1].read, 1);
        QCOMPARE(site.ledger->MetersNow()[1].readEver, 2); // it never falls
    }

    void awayAndBack()
    {
        Site site(u"2024-03-05 12:30:00"_s);
        site.Sweep(u"2024-03-05 12:00:07"_s, {u"1"_s, u"11"_s, u"12"_s});
        site.Look(u"2024-03-05 23:30:00"_s);
        QFile::rename(site.vars.BaseName, site.vars.BaseName + u".away"_s);
        QSignalSpy changed(site.ledger.get(), &SiteLedger::DatabaseChanged);
        site.Look(u"2024-03-05 23:40:00"_s);
        QCOMPARE(changed.size(), 1);
        QVERIFY(!site.ledger->DatabaseState().isReachable);
        QVERIFY2(site.ledger->DatabaseState().error.contains(u"does not exist"_s),
            qPrintable(site.ledger->DatabaseState().error));
        QCOMPARE(site.Table(), QStringList{u"03-05 12:00 rrr"_s}); // what was known stands
        const auto refusal = std::get<LedgerRefusal>(
            site.ledger->Readings(11, Local(u"2024-03-05 00:00:00"_s), Local(u"2024-03-06 00:00:00"_s)));
        QCOMPARE(refusal.kind, LedgerRefusal::Kind::DatabaseAway);

        QFile::rename(site.vars.BaseName + u".away"_s, site.vars.BaseName);
        site.Run(u"ALTER TABLE Main_Data RENAME COLUMN status TO state"_s);
        SiteLedger other(site.vars, u"other"_s, site.settings);
        other.Start();
        while (other.IsBusy())
            QCoreApplication::processEvents();
        QVERIFY(!other.IsComplete());
        QVERIFY2(
            other.DatabaseState().error.contains(u"no such column: status"_s), qPrintable(other.DatabaseState().error));
        site.Run(u"ALTER TABLE Main_Data RENAME COLUMN state TO status"_s);
        other.Start();
        while (other.IsBusy())
            QCoreApplication::processEvents();
        QVERIFY(other.IsComplete() && other.DatabaseState().error.isEmpty());
    }

    void registerChanges()
    {
        Site site(u"2024-03-05 12:30:00"_s);
        site.Sweep(u"2024-03-05 12:00:07"_s, {u"1"_s, u"11"_s, u"13"_s});
        site.Look(u"2024-03-05 23:10:00"_s);
        site.ledger->SetKnownNodes({u"A"_s, u"C"_s});
        site.ledger->NodeHeard(u"A"_s, Local(u"2024-03-05 23:05:00"_s));
        const auto ids = [&] {
            QStringList all;
            for (const QJsonValue meter : site.ledger->Meters()[u"meters"_s].toArray())
                all.append(
                    QString::number(meter[u"globalId"_s].toInt()) + (meter[u"inRegister"_s].toBool() ? u""_s : u"?"_s));
            return all.join(u' ');
        };
        QCOMPARE(ids(), u"1 11 12 13?"_s);
        site.Run(u"INSERT INTO \"Counters\" VALUES (13, 'C', '10', 'SET1', 0, '')"_s);
        site.Run(u"DELETE FROM \"Counters\" WHERE global_id = 12"_s);
        site.Look(u"2024-03-05 23:11:00"_s);
        QCOMPARE(ids(), u"1 11 13"_s);
        const QJsonArray nodes = site.ledger->Nodes()[u"nodes"_s].toArray();
        QCOMPARE(nodes.size(), 2);
        QCOMPARE(nodes[0][u"heard"_s], u"2024-03-05T23:05:00+01:00"_s);
        QCOMPARE(nodes[1][u"uin"_s], u"C"_s);
        QVERIFY(nodes[1][u"heard"_s].isNull());
    }

    /// Pages follow on each other without a gap and without a row twice.
    void pages()
    {
        Site site(u"2024-03-05 12:30:00"_s);
        site.Run(
            u"WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 2499) INSERT INTO Main_Data "
            "SELECT 11, i + 1, i, 1, 0, 0, date('2023-12-01', (i / 48) || ' days'), "
            "time('00:00:07', (i % 48 * 30) || ' minutes'), 0 FROM n"_s);
        site.Run(u"INSERT INTO Main_Data VALUES (11, 0, 0, 0, 0, 0, '2023-12-01', '00:00:07', 255)"_s);
        QDateTime from = QDateTime::fromSecsSinceEpoch(0);
        QList<double> totals;
        int silent = 0;
        int pages = 0;
        while (from.isValid()) {
            const auto page = std::get<QJsonObject>(site.ledger->Readings(11, from, Local(u"2024-12-31 00:00:00"_s)));
            QVERIFY(page[u"readings"_s].toArray().size() <= SiteLedger::MostReadings);
            for (const QJsonValue reading : page[u"readings"_s].toArray()) {
                if (reading[u"energy"_s].isNull())
                    silent += reading[u"text"_s].toString() == u"nothing heard (255)"_s ? 1 : 0;
                else
                    totals.append(reading[u"energy"_s][0].toDouble());
            }
            from = QDateTime::fromString(page[u"next"_s].toString(), Qt::ISODate);
            ++pages;
        }
        QCOMPARE(pages, 3);
        QCOMPARE(silent, 1);
        QCOMPARE(totals.size(), 2500);
        for (qsizetype i = 0; i < totals.size(); ++i)
            QCOMPARE(totals[i], static_cast<double>(i + 1));
        QCOMPARE(std::get<LedgerRefusal>(site.ledger->Readings(99, from, from)).kind, LedgerRefusal::Kind::NoSuchMeter);
    }
};

QTEST_GUILESS_MAIN(tst_SiteLedger)
#include "tst_siteledger.moc"
