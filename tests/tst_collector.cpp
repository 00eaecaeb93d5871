// The collector's ticks: the schedule, sweeps, who is asked again, closing, and the clocks that are set and compared.

#include "collectorbench.h"
#include "meteranswers.h"
#include "settingsconnection.h"

#include <QRegularExpression>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

/// Thrown out of a wait that would not end.
struct GaveUp { };

} // namespace

class tst_Collector : public CollectorBench {
    Q_OBJECT

private slots:
    void noDatabase()
    {
        vars.BDType = u"Postgres"_s; // another case is another kind
        vars.TimeOfQuery = u":[30"_s; // and never met
        Create();
        QVERIFY(collector->LastError().isValid());
        QCOMPARE(LogLines(" (alias name) \n"), 1);
        QCOMPARE(LogLines("The database cannot be read: Driver not loaded"), 1);
        QCOMPARE(LogLines("The time pattern \":[30\" is never met"), 1);
        Tick(QTime(8, 30), u"all <- c0c1"_s); // goes on without
        QVERIFY(Polling());
    }

    void anotherDatabase()
    {
        vars.BDType = u"postgres"_s;
        vars.BaseName = u"meters"_s;
        vars.SqlPort = 5433;
        const QSqlDatabase database = SettingsConnection::Add(u"another"_s, vars);
        QCOMPARE(database.driverName() + u' ' + database.databaseName() + u' ' + QString::number(database.port()),
            u"QPSQL meters 5433"_s);
    }

    void querySweep()
    {
        RegisterNode(1, u"SET1"_s);
        RegisterNode(2, u"CE102"_s, u"2"_s);
        RegisterSubstation(u"SET3"_s);
        vars.RepeatQueryNumber = 2;
        Create();
        QVERIFY(Polling());
        const QTimer* const alarm = collector->findChildren<QTimer*>().last();
        QVERIFY(alarm->isActive() && alarm->interval() == 2000);
        Answer(1, MeterAnswers::EnergySET1({1, 2, 3, 4})); // is lost before the first sweep, and not told as a failure
        QCOMPARE(LogLines("Rows are not stored"), 0);
        Tick(QTime(8, 29, 40), u"all <- c0c1"_s);
        QCOMPARE(Readings(), QStringList());

        AnswerDuringWait(3, 1, MeterAnswers::EnergySET1({10000, 20000, 30000, 40000}));
        Tick(QTime(8, 30, 5),
            u"Begin questioning...|all <- c001c1|wait 1000|port: |Not received data from KTP|wait 15000|"
            "node 1 <- c002c1|wait 10000|node 1 send data: 1000 kW*h|node 2 <- c002c1|wait 10000|all <- c0c1"_s);
        QVERIFY(Polling());

        for (const int minute : {31, 32})
            Tick(QTime(8, minute),
                u"Repeat query...|node 2 not send data...|node 2 <- c001c1|wait 10000|wait 15000|node 2 <- c002c1|"
                "wait 10000|all <- c0c1"_s);

        VirtualTime::Advance(60000);
        collector->timer_event();
        QCOMPARE(BusMessage().toHex(),
            "0000000674656d706462"
            "0000002c0032003000310034002d00300033002d00300034002d00300038002d00330030002d00300035002e00640062"
            "00000084"
            "090000000000000000000000000000000000000000000000323031342d30332d303430383a33303a30350100"
            "0100000000007a440000c84200004843000096430000c843323031342d30332d303430383a33303a30350000"
            "020000000000000000000000000000000000000000000000323031342d30332d303430383a33303a3035ff00"_ba);
        Tick(QTime(8, 40), u"all <- c0c1"_s); // closed
        Answer(2, "\x02late"_ba);
        Answer(1, MeterAnswers::EnergySET1({0, 0, 0, 1}));
        QCOMPARE(Readings(),
            Lines("1 1000 100 200 300 400 2014-03-04 08:30:05 0|1 0.01 0 0 0 0.01 2014-03-04 08:30:05 0|"
                  "2 0 0 0 0 0 2014-03-04 08:30:05 255|9 0 0 0 0 0 2014-03-04 08:30:05 1"));
    }

    void substationReadAtLastTry()
    {
        RegisterSubstation(u"SET3"_s);
        Register(8, "KTP 2"_ba, u"1"_s, u"CE301"_s, 1); // a row for each
        RegisterNode(1, u"SET1"_s);
        OpenSubstation();
        vars.RepeateQueryKTPNumber = 2;
        duringWait = [this] {
            if (waits == 2 || waits == 6) // events run behind each try
                QMetaObject::invokeMethod(
                    this, [this] { collector->zACK(1); }, Qt::QueuedConnection);
            if (waits == 4)
                substationAnswer = QByteArray::fromHex("7011011210270000102700001027000010270000");
        };
        Create();
        collector->NeedQuery();
        collector->NeedQuery();
        Tick(QTime(8, 31),
            "Begin questioning...|all <- c001c1|"_L1
                + "ktp <- 701101120022b4|wait 1000|port: |wait 10000|Received 'ACK', but stack is empty|"
                  "ktp <- 701101120022b4|wait 1000|port: |wait 10000|"
                  "ktp <- 701101120022b4|wait 1000|port: 7011011210270000102700001027000010270000|KTP Data: 400|"
                  "wait 10000|Received 'ACK', but stack is empty|wait 15000|node 1 <- c002c1|wait 10000|all <- c0c1"_L1);
        QCOMPARE(Readings(),
            Lines("8 400 100 100 100 100 2014-03-04 08:31:00 0|9 400 100 100 100 100 2014-03-04 08:31:00 0"));
        vars.RepeatQueryNumber = 0;
        Tick(QTime(8, 32));
        Tick(QTime(8, 33));
        QCOMPARE(journal.last(), u"bus: tempdb 2014-03-04-08-31-00.db 1/255 8/0 9/0"_s);
        Tick(QTime(8, 34), u"all <- c0c1"_s); // the request was for one sweep
    }

    void timeSweep()
    {
        RegisterNode(1, u"SET3"_s, u"70000"_s);
        RegisterSubstation(u"SET3"_s);
        Create();
        collector->NeedQuery(); // is forgotten over the time sweep
        AnswerDuringWait(6, 1, MeterAnswers::ClockSET3(70000, {{2014, 3, 4}, {9, 14, 58}}));
        Tick(QTime(9, 15),
            u"SET3|node 1 <- 04701101101726|wait 10000|wait 15000|node 1 <- c002c1|wait 1500|"
            "Repeat query...|node 1 not send data...|node 1 <- 04701101101726|wait 10000|wait 15000|node 1 <- c002c1|"
            "wait 10000|node 1 send time: 2014-03-04 09:14:58 kW*h|all <- c0c1"_s);
        QCOMPARE(ClockRows(),
            Lines("000D6F0000000001 2014-03-04 09:14:58 2014-03-04 09:15:26|"
                  "KTP 2014-03-04 00:15:00 2014-03-04 00:15:00"));
        Tick(QTime(9, 17), u"Observed reading!|all <- c0c1|bus: tempdb_t time_2014-03-04-'now'.db 1/0 9/0"_s);
        Tick(QTime(9, 18), u"all <- c0c1"_s);
        Tick({{2014, 3, 5}, {9, 15}});
        QCOMPARE(journal.count(u"node 1 not send data..."_s), 1); // yesterday's answer is forgotten
        Create();
        Sql(u"UPDATE time_table SET date_r = '2014-03-06'"_s);
        const qsizetype rows = ClockRows().size();
        Tick({{2014, 3, 5}, {10, 15}}, {}); // everybody has answered, says the database: later counts too
        QCOMPARE(ClockRows().size(), rows); // and there is a reference clock
    }

    // A sweep that is started anew closes the first with what is known of it, then forgets that. A meter that is
    // registered meanwhile is not known.
    void statesOfTheSweep()
    {
        RegisterNode(1, u"SET1"_s);
        vars.RepeatQueryNumber = 5;
        Create();
        Tick(QTime(9, 0));
        collector->zACK(1);
        RegisterNode(2, u"SET1"_s);
        Tick(QTime(9, 0, 25));
        QCOMPARE(journal.last(), u"bus: tempdb 2014-03-04-09-00-00.db 1/2 2/0"_s);
        QCOMPARE(LogLines("Due while"), 0);
        Tick(QTime(9, 30));
        QCOMPARE(journal.last(), u"bus: tempdb 2014-03-04-09-00-25.db 1/255 2/255"_s);
        QCOMPARE(LogLines("Due while the tick before lasted, and not made: time sweep 04 09:15\n"), 1);
    }

    void ticks_data()
    {
        QTest::addColumn<QString>("site"); // repeats, the node's model, the substation meter's if there is one
        QTest::addColumn<QString>("script"); // when a tick comes, and what it leaves in the journal but for the waits
        const auto row = [](const char* name, const QString& site, QString script) {
            script.replace("{query}"_L1, "all <- c001c1|Not received data from KTP|{end}"_L1);
            script.replace(
                "{again}"_L1, "Repeat query...|node 1 not send data...|node 1 <- c001c1|node 1 <- c002c1"_L1);
            script.replace("{clock again}"_L1, "Repeat query...|node 1 not send data...|node 1 <- 0450|{end}"_L1);
            script.replace("{end}"_L1, "node 1 <- c002c1|all <- c0c1"_L1);
            QTest::addRow("%s", name) << site << script;
        };
        row("no repeats: no clock is asked for, then the query sweep is closed a second time", u"0 SET1"_s,
            u"04 08:30:00 Begin questioning...|all <- c001c1|Read database failed: |Read database failed: |"
            "Not received data from KTP|{end}\n"
            "04 08:31:00 Observed reading!|all <- c0c1|bus: tempdb 2014-03-04-08-30-00.db 1/255\n"
            "04 09:15:00 \n"
            "04 09:16:00 Observed reading!|all <- c0c1|bus: tempdb 2014-03-04-08-30-00.db 1/255"_s);
        row("query sweep restarted", u"5 SET1 none"_s,
            u"04 09:00:00 Begin questioning...|{query}\n"
            "04 09:00:25 {again}|Begin questioning...|Observed reading!|{query}|"
            "bus: tempdb 2014-03-04-09-00-00.db 1/255 9/1"_s);
        row("time sweep restarted, then checked as a query sweep", u"2 SET1 none"_s,
            u"04 09:15:00 SET1|node 1 <- 0450|node 1 <- c002c1|{clock again}\n"
            "04 09:15:30 Observed reading!|SET1|node 1 <- 0450|node 1 <- c002c1|{again}|all <- c0c1|"
            "bus: tempdb_t time_2014-03-04-'now'.db 9/0\n"
            "04 09:16:00 {again}|all <- c0c1\n"
            "04 09:17:00 Observed reading!|all <- c0c1|bus: tempdb 2014-03-04-'now'.db "_s);
        row("query sweep waits for a time sweep", u"2 SET1 none"_s,
            u"04 09:15:00 SET1|node 1 <- 0450|node 1 <- c002c1|{clock again}\n"
            "04 09:30:00 {clock again}\n"
            "04 09:31:00 Observed reading!|Begin questioning...|{query}|bus: tempdb_t time_2014-03-04-'now'.db 9/0"_s);
        row("query sweep checked as a time sweep", u"1 SET1 none"_s,
            u"04 09:00:00 Begin questioning...|{query}\n"
            "04 09:15:00 {clock again}\n"
            "04 09:16:00 Observed reading!|Begin questioning...|{query}|bus: tempdb_t time_2014-03-04-09-00-00.db 9/0"_s);
        row("time sweep past midnight, of a meter whose clock cannot be asked", u"1 CE102 none"_s,
            u"04 23:15:00 CE102|node 1 <- |node 1 <- c002c1|Repeat query...|node 1 not send data...|node 1 <- |{end}\n"
            "05 00:01:00 Observed reading!|all <- c0c1|bus: tempdb_t time_2014-03-04-'now'.db "_s);
        row("clocks set in front of a sweep", u"1 SET1 none"_s,
            u"09 08:47:05 Time sync: |all <- c00830353437303830373039303332303134c1|Begin questioning...|{query}"_s);
    }

    void ticks()
    {
        QFETCH(QString, site);
        QFETCH(QString, script);
        const QStringList words = site.split(u' ');
        vars.RepeatQueryNumber = static_cast<quint8>(words.first().toInt());
        vars.RepeateQueryKTPNumber = 1;
        vars.BCAST_to_UCAST_Delay = vars.UCAST_to_UCAST_Delay = 0;
        RegisterNode(1, words[1]);
        if (words.size() > 2)
            RegisterSubstation(words[2]);
        Create();
        for (const QString& line : script.split(u'\n')) {
            Tick(QDateTime::fromString("2014-03-"_L1 + line.first(11), u"yyyy-MM-dd hh:mm:ss"_s));
            QCOMPARE(journal.filter(QRegularExpression(u"^[^w]"_s)).join(u'|'), line.sliced(12));
            QVERIFY(Polling());
        }
        QCOMPARE(ClockRows().size(), 1); // today's reference: none for the silent
        QCOMPARE(LogLines("Rows are ") + LogLines("The database"), 0); // what must fail is not told
    }

    // --- clocks

    void setClocksCE301()
    {
        RegisterNode(1, u"SET3"_s);
        RegisterNode(2, u"SET1"_s);
        Register(9, "KTP"_ba, u"9"_s, u"CE301"_s, 1); // one of any kind will do
        vars.TimeOfQuery = u"never"_s;
        Create();
        Tick(QDateTime({2014, 3, 9}, {0, 0, 7}));
        journal.replaceInStrings(u"node 2"_s, u"node 1"_s); // in no order
        QCOMPARE(journal,
            Lines("node 1 <- 040157310254494d455f2830303a30303a3037290307|wait 10000|"
                  "node 1 <- 040157310254494d455f2830303a30303a3137290308|wait 10000|all <- c0c1"));
    }

    void referenceClock()
    {
        FakeNtpq("echo 'remote refid st t when poll reach delay offset jitter'\n"
                 "echo '*10.0.0.1 .GPS. 1 u 33 64 377 0.512 5000 0.021'\n"
                 "echo '+10.0.0.2 .PPS. 1 u 33 64 377 0.512 7000.9 0.021'");
        Register(8, "KTP 1"_ba, u"1"_s, u"SET3"_s, 1);
        Register(9, "K''TP"_ba, u"1"_s, u"SET3"_s, 1); // the last one counts
        vars.NtpServer = u".PPS."_s; // any part of a line
        Create();
        const QString columns = u"uin, date_c, date_r, strftime('%s', time_r) - strftime('%s', time_c)"_s;
        Tick(QTime(9, 15));
        Tick(QTime(10, 15)); // once a day
        QCOMPARE(Rows("SELECT "_L1 + columns + " FROM time_table"_L1), Lines("K'TP 2014-03-04 2014-03-04 7"));
        vars.NtpServer.clear(); // the heading
        Create();
        Tick({{2014, 3, 5}, {9, 15}});
        QCOMPARE(Rows("SELECT "_L1 + columns + " FROM time_table"_L1).last(), u"K'TP 2014-03-05 2014-03-05 0"_s);
    }

    void ntpqThatDoesNotFinish()
    {
        RegisterNode(1, u"SET1"_s);
        for (const bool installed : {true, false}) {
            FakeNtpq("sleep 60 & echo $! > \"${0%/*}/child\"; wait");
            if (!installed)
                qputenv("PATH", "/nowhere");
            Create();
            Tick(QTime(installed ? 9 : 10, 15), {});
            QVERIFY(!Polling());
            const QByteArray child = Contents(Path(u"child"_s)).trimmed();
            QVERIFY(!child.isEmpty());
            QTRY_VERIFY(QFile::symLinkTarget("/proc/"_L1 + QString::fromLatin1(child) + "/exe"_L1).isEmpty());
            QCOMPARE(VirtualTime::Delays().size(), 120); // 30 s, or none more
            QCOMPARE(LogLines("ntpq -pn did not finish"), installed ? 1 : 2);
        }
    }

    void unlistedServer()
    {
        FakeNtpq("echo '*10.0.0.1 .GPS. 1 u 33 64 377 0.512 5000 0.021'");
        vars.NtpServer = u"10.0.0.9"_s;
        Create();
        duringWait = [this] {
            if (waits == 100)
                throw GaveUp();
        };
        QVERIFY_THROWS_EXCEPTION(GaveUp, Tick(QTime(9, 15)));
        QCOMPARE(journal.count(u"wait 1000"_s), 100);
        QCOMPARE(LogLines("ntpq does not list the NTP server 10.0.0.9"), 1);
    }

    void closingOneByOne()
    {
        for (int n : {1, 2, 3})
            Register(n, n == 3 ? "x' OR '1'='1"_ba.replace("'", "''") : Node(n), u"1"_s, u"SET1"_s, 0);
        vars.RepeatQueryNumber = 0;
        Create();
        Tick(QTime(8, 30));
        Sql(u"CREATE TRIGGER refuse BEFORE INSERT ON \"Main_Data\" WHEN new.global_id = 2 "
            "BEGIN SELECT RAISE(ABORT, 'refused'); END"_s);
        Tick(QTime(8, 31));
        QCOMPARE(Readings(), Lines("1 0 0 0 0 0 2014-03-04 08:30:00 255|3 0 0 0 0 0 2014-03-04 08:30:00 255"));
        QCOMPARE(LogLines("Rows are not stored: refused\n"), 1);
        Sql(u"DROP TRIGGER refuse"_s);
        collector->NeedQuery();
        Tick(QTime(8, 32));
        Tick(QTime(8, 33));
        QCOMPARE(Readings().size(), 5);
        QCOMPARE(LogLines("Rows are stored again\n"), 1);
    }
};

QTEST_GUILESS_MAIN(tst_Collector)
#include "tst_collector.moc"
