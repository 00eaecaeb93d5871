// The collector at work in virtual time, on a real database file. Everything that leaves it is kept in one journal, in
// order: messages to nodes and to the bus, log texts, waits, and what is written to the substation meter.

#include "clock.h"
#include "collector.h"
#include "connector.h"
#include "frame.h"
#include "localsocket.h"
#include "log.h"
#include "meteranswers.h"
#include "pseudoterminal.h"
#include "serverplugin.h"
#include "virtualtime.h"
#include "zucastbuffer.h"

#include <QDataStream>
#include <QFile>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QtEndian>

#include <memory>

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QDateTime Start({2014, 3, 4}, {8, 29, 30});

/// Address of node `n`; the journal calls it "node n".
QByteArray Node(int n)
{
    return "000D6F000000000" + QByteArray::number(n);
}

QStringList Lines(const char* lines)
{
    return QString::fromUtf8(lines).split(u'|');
}

QString Hex(const QByteArray& bytes)
{
    return QString::fromLatin1(bytes.toHex());
}

/// Thrown out of a wait that would not end.
struct GaveUp { };

struct AnswersCase {
    const char* name;
    QString model;
    QList<QByteArray> unicasts;
    const char* log;
    QString reading; // once the sweep is closed
    QString clock;
};

struct SubstationCase {
    const char* name;
    QString model;
    QString number;
    QByteArray answer;
    QList<float> registers; // empty: not read
};

} // namespace

class tst_Collector : public QObject {
    Q_OBJECT

    // --- the bench

    std::unique_ptr<QTemporaryDir> directory;
    SysVar vars;
    std::unique_ptr<TServerPlugin> plugin;
    std::unique_ptr<ZUCASTBuffer> buffer;
    std::unique_ptr<TCollector> collector;
    std::unique_ptr<PseudoTerminal> substation;
    QByteArray substationAnswer; // given when the collector has written its last message
    std::function<void()> duringWait;
    int waits = 0;
    int peer = -1;
    QStringList journal;
    QByteArray oldPath = qgetenv("PATH");

    [[nodiscard]] QString Path(const QString& name) const { return directory->filePath(name); }

    void Sql(const QString& statement)
    {
        QSqlQuery query(QSqlDatabase::database(u"probe"_s));
        QVERIFY2(query.exec(statement), qPrintable(statement + query.lastError().text()));
    }

    [[nodiscard]] QStringList Rows(const QString& statement)
    {
        QStringList rows;
        QSqlQuery query(QSqlDatabase::database(u"probe"_s));
        query.exec(statement + " ORDER BY 1"_L1);
        while (query.next()) {
            QStringList row;
            for (int column = 0; column < query.record().count(); ++column)
                row.append(query.value(column).toString());
            rows.append(row.join(u' '));
        }
        return rows;
    }

    [[nodiscard]] QStringList Readings()
    {
        return Rows(u"SELECT global_id, pwr, pwr1, pwr2, pwr3, pwr4, time_r, status FROM Main_Data"_s);
    }

    [[nodiscard]] QStringList ClockRows()
    {
        return Rows(u"SELECT uin, date_c, time_c, date_r, time_r FROM time_table"_s);
    }

    [[nodiscard]] qsizetype LogLines(const QByteArray& text) const
    {
        QFile log(Path(u"log"_s));
        return log.open(QIODevice::ReadOnly) ? log.readAll().count(text) : 0;
    }

    void Register(int id, const QByteArray& uin, const QString& number, const QString& model, int type)
    {
        Sql(u"INSERT INTO \"Counters\" VALUES (%1, '%2', '%3', '%4', %5, '40')"_s.arg(
            QString::number(id), QString::fromUtf8(uin), number, model, QString::number(type)));
    }

    void RegisterNode(int n, const QString& model, const QString& number = u"1"_s)
    {
        Register(n, Node(n), number, model, 0);
    }

    /// With today's reference clock.
    void RegisterSubstation(const QString& model, const QString& number = u"70000"_s)
    {
        Register(9, "KTP"_ba, number, model, 1);
        Sql(u"INSERT INTO time_table VALUES ('KTP', '2014-03-04', '00:15:00', '2014-03-04', '00:15:00')"_s);
    }

    void OpenSubstation(const QByteArray& answer = {})
    {
        substationAnswer = answer;
        substation = std::make_unique<PseudoTerminal>();
        QString error;
        QVERIFY2(substation->Open(vars.PortCounterKTP, error), qPrintable(error));
    }

    void FakeNtpq(const QByteArray& script)
    {
        QFile file(Path(u"ntpq"_s));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write("#!/bin/sh\n[ \"$*\" = -pn ] || exit 1\n" + script + '\n');
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        qputenv("PATH", directory->path().toUtf8() + ':' + oldPath);
    }

    void Create()
    {
        collector.reset();
        collector = std::make_unique<TCollector>(buffer.get(), vars, plugin.get());
        const auto note = [this](const QByteArray& to, const QByteArray& text) {
            journal.append(QString::fromUtf8(to + text).replace("000D6F000000000"_L1, "node "_L1));
        };
        const TCollector* const from = collector.get();
        connect(from, &TCollector::SendBroadcastMessage, this, [=](auto bytes) { note("all <- ", bytes.toHex()); });
        connect(from, &TCollector::SendMessage, this, [=](auto uin, auto bytes) { note(uin, " <- " + bytes.toHex()); });
        connect(from, &TCollector::LogMessage, this, [=](auto text) { note("", text); });
        connect(from, &TCollector::CounterPortData, this, [=](auto bytes) { note("port: ", bytes.toHex()); });
    }

    [[nodiscard]] bool Polling() const
    {
        const QTimer* const timer = collector->findChildren<QTimer*>().first();
        return timer->intervalAsDuration().count() == 25000 && timer->isActive();
    }

    void AdvanceTo(const QDateTime& time) { VirtualTime::Advance(CurrentDateTime().msecsTo(time)); }

    /// Leaves this tick's lines in the journal, but for the first.
    void Tick(const QDateTime& time)
    {
        AdvanceTo(time);
        journal.clear();
        collector->timer_event();
        NoteBus();
        QCOMPARE(journal.takeFirst(), u"Timer event: "_s + time.toString(u"dd hh:mm"_s));
    }

    void Tick(QTime time) { Tick({CurrentDateTime().date(), time}); }

    void Tick(QTime time, const QString& lines)
    {
        Tick(time);
        QCOMPARE(journal.join(u'|'), lines);
    }

    void Answer(int node, const QByteArray& payload)
    {
        collector->ReceivedUCAST(Node(node), TCollector::ToC0C1(payload));
    }

    /// The answer comes while the thread waits, and is taken when the tick lets events run.
    void AnswerDuringWait(int wait, int node, const QByteArray& payload)
    {
        duringWait = [=, this] {
            if (waits == wait)
                QMetaObject::invokeMethod(
                    this, [=, this] { Answer(node, payload); }, Qt::QueuedConnection);
        };
    }

    /// What was written before a wait is there at its end, and so is what the peers answer.
    void Waited()
    {
        constexpr unsigned int NtpqWaitMs = 240; // as many as the real process takes
        const unsigned int ms = VirtualTime::Delays().last();
        if (ms == NtpqWaitMs)
            return;
        if (substation)
            ActAsSubstation(ms);
        journal.append(u"wait %1"_s.arg(ms));
        ++waits;
        if (duringWait)
            duringWait();
    }

    void ActAsSubstation(unsigned int ms)
    {
        pollfd line{substation->Descriptor(), POLLIN, 0};
        if (::poll(&line, 1, 50) == 1)
            journal.append(u"ktp <- "_s + Hex(substation->Read()));
        if (ms != 1000)
            return;
        QCOMPARE(substation->Write(substationAnswer), substationAnswer.size());
        int unread = 0;
        for (int lookMs = 0; unread < substationAnswer.size(); ++lookMs) {
            QVERIFY(lookMs < 5000);
            ::poll(nullptr, 0, 1);
            ::ioctl(substation->DaemonSide(), FIONREAD, &unread);
        }
    }

    /// The next message on the bus, null when there is none.
    QByteArray BusMessage() const
    {
        quint32 length = 0;
        if (::read(peer, &length, sizeof(length)) != sizeof(length))
            return {};
        QByteArray body(qFromBigEndian(length), Qt::Uninitialized);
        if (::read(peer, body.data(), static_cast<size_t>(body.size())) != body.size())
            qFatal("a cut frame");
        const auto frame = std::get<BusFrame::Data>(BusFrame::Decode(body));
        return frame.version == 0 ? frame.data : "wrong version"_ba;
    }

    /// An error with its text, a sweep with each record's meter and status.
    void NoteBus()
    {
        constexpr qsizetype RecordSize = 44;
        for (QByteArray message; !(message = BusMessage()).isNull();) {
            QByteArray word;
            QString name;
            QByteArray data;
            QDataStream stream(message);
            stream.setVersion(QDataStream::Qt_4_5);
            stream >> word >> name >> data;
            QStringList items;
            for (qsizetype at = 0; at < data.size() && word != "error"; at += RecordSize)
                items.append(u"%1/%2"_s.arg(qFromLittleEndian<qint32>(data.constData() + at))
                                 .arg(qFromLittleEndian<qint16>(data.constData() + at + RecordSize - 2)));
            items.sort();
            if (word == "error")
                items = {QString::fromUtf8(data)};
            journal.append(u"bus: %1 %2 %3"_s.arg(QString::fromUtf8(word), name, items.join(u' ')));
        }
    }

private slots:
    void init()
    {
        VirtualTime::Reset(Start);
        VirtualTime::WhileWaiting([this] { Waited(); });
        directory = std::make_unique<QTemporaryDir>();
        pLog = new TLog(Path(u"log"_s));
        {
            QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"probe"_s);
            database.setDatabaseName(Path(u"z.db"_s));
            QVERIFY(database.open());
        }
        Sql(u"PRAGMA journal_mode=WAL"_s);
        Sql(u"CREATE TABLE \"Counters\"(global_id INTEGER, \"UIN\" TEXT, \"Number\" TEXT, \"Model\" TEXT, "
            "\"Type\" INTEGER, \"KI_Number\" TEXT)"_s);
        Sql(u"CREATE TABLE \"Main_Data\"(global_id INTEGER, pwr REAL, pwr1 REAL, pwr2 REAL, pwr3 REAL, pwr4 REAL, "
            "date_r TEXT, time_r TEXT, status INTEGER)"_s);
        Sql(u"CREATE TABLE time_table(uin TEXT, date_c TEXT, time_c TEXT, date_r TEXT, time_r TEXT)"_s);

        vars = SysVar();
        vars.BDType = u"sqlite3"_s;
        vars.BaseName = Path(u"z.db"_s);
        vars.PortCounterKTP = Path(u"ktp"_s);
        vars.RepeateQueryKTPNumber = 0;
        vars.RepeatQueryNumber = 1;
        vars.TimeOfQuery = u":[30]0$|08:47$"_s;
        vars.TimeOfSetTime = u"00:00$|08:47$"_s;
        vars.TimeOfGetTime = u":15$"_s;
        plugin = std::make_unique<TServerPlugin>();
        buffer = std::make_unique<ZUCASTBuffer>("000D6F00000000FF"_ba, QByteArray());

        std::array<int, 2> ends{};
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()), 0);
        peer = ends[0];
        auto* const socket = new TMyLocalSocket(plugin.get());
        socket->setSocketDescriptor(ends[1]);
        plugin->Connector->newInConnection(socket);
        FakeNtpq("exit 0");
    }

    void cleanup()
    {
        collector.reset();
        substation.reset();
        plugin.reset();
        ::close(peer);
        qputenv("PATH", oldPath);
        QSqlDatabase::removeDatabase(u"probe"_s);
        delete std::exchange(pLog, nullptr);
        duringWait = nullptr;
        journal.clear();
        waits = 0;
    }

    void openDatabase()
    {
        vars.BaseName = u"made.db"_s;
        Create();
        QVERIFY(!collector->LastError().isValid());
        QVERIFY(QFile::remove(QCoreApplication::applicationDirPath() + u"/made.db"_s));

        vars.BDType = u"Postgres"_s; // another case is another kind
        vars.TimeOfQuery = u":[30"_s; // and never met
        Create();
        QVERIFY(collector->LastError().isValid());
        QCOMPARE(LogLines(" (alias name)\n"), 1);
        QCOMPARE(LogLines("The time pattern \":[30\" is never met"), 1);
        Tick(QTime(8, 30), u"all <- c0c1"_s); // goes on without
        QVERIFY(Polling());
    }

    // --- sweeps

    void querySweep()
    {
        RegisterNode(1, u"SET1"_s);
        RegisterNode(2, u"CE102"_s, u"2"_s);
        RegisterSubstation(u"SET3"_s);
        vars.RepeatQueryNumber = 2;
        Create();
        QVERIFY(Polling());
        Answer(1, MeterAnswers::EnergySET1({1, 2, 3, 4})); // is lost before the first sweep
        Tick(QTime(8, 29, 40), u"all <- c0c1"_s);
        QCOMPARE(Readings(), QStringList());

        AnswerDuringWait(3, 1, MeterAnswers::EnergySET1({10000, 20000, 30000, 40000}));
        Tick(QTime(8, 30, 5),
            u"Begin questioning...|all <- c001c1|wait 1000|port: |Not received data from KTP|wait 15000|node 1 <- "
            u"c002c1|"
            "wait 10000|node 1 send data: 1000 kW*h|node 2 <- c002c1|wait 10000|all <- c0c1"_s);
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
            Lines("1 1000 100 200 300 400 08:30:05 0|1 0.01 0 0 0 0.01 08:30:05 0|2 0 0 0 0 0 08:30:05 255|9 0 0 0 0 0 "
                  "08:30:05 1"));
    }

    void substationReadAtLastTry()
    {
        RegisterSubstation(u"SET3"_s);
        OpenSubstation();
        vars.RepeateQueryKTPNumber = 2;
        duringWait = [this] {
            if (waits == 4)
                substationAnswer = QByteArray::fromHex("7011011210270000102700001027000010270000");
        };
        Create();
        collector->NeedQuery();
        collector->NeedQuery();
        Tick(QTime(8, 31),
            "Begin questioning...|all <- c001c1|"_L1
                + u"ktp <- 701101120022b4|wait 1000|port: |wait 10000|"_s.repeated(2)
                + "ktp <- 701101120022b4|wait 1000|port: 7011011210270000102700001027000010270000|KTP Data: 400|"
                  "wait 10000|wait 15000|all <- c0c1"_L1);
        QCOMPARE(Readings(), Lines("9 400 100 100 100 100 08:31:00 0"));
        Tick(QTime(8, 32), u"Observed reading!|all <- c0c1|bus: tempdb 2014-03-04-08-31-00.db 9/0"_s);
        Tick(QTime(8, 33), u"all <- c0c1"_s); // the request was for one sweep
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
            Lines("000D6F0000000001 2014-03-04 09:14:58 2014-03-04 09:15:26|KTP 2014-03-04 00:15:00 2014-03-04 "
                  "00:15:00"));
        Tick(QTime(9, 17), u"Observed reading!|all <- c0c1|bus: tempdb_t time_2014-03-04-'now'.db 1/0 9/0"_s);
        Tick(QTime(9, 18), u"all <- c0c1"_s);
        Create();
        Tick(QTime(10, 15), {}); // everybody has answered today, says the database
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
        Register(9, "K''TP"_ba, u"1"_s, u"SET3"_s, 1);
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
            FakeNtpq("exec sleep 60");
            if (!installed)
                qputenv("PATH", "/nowhere");
            Create();
            Tick(QTime(installed ? 9 : 10, 15), {});
            QVERIFY(!Polling());
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

    // --- answers

    void answers_data()
    {
        const auto frame = [](const QByteArray& payload) { return TCollector::ToC0C1(payload); };
        constexpr auto Wrong = MeterAnswers::Checksum::Wrong;
        const QByteArray set3 = frame(MeterAnswers::EnergySET3(70000, {123456700, 0, 0, 0xC0C17D}));
        const char* const set3Log = "node 1 send data: 1.36089e+06 kW*h";
        const QString set3Row = u"1 1360890 1234570 0 0 126324 08:30:00 0"_s;
        const QString undecodable = u"1 0 0 0 0 0 08:30:00 1"_s;
        const QString heard = u"1 0 0 0 0 0 08:30:00 2"_s;

        QTest::addColumn<AnswersCase>("c");
        for (const AnswersCase& c : {
                 AnswersCase{"SET3, stuffed, six digits, in three unicasts", u"SET3"_s,
                     {set3.first(1), set3.sliced(1, 9), set3.sliced(10)}, set3Log, set3Row, {}},
                 {"two glued: the second waits for the next unicast", u"SET3"_s, {set3 + set3, "\xC0\xC1"_ba},
                     "node 1 send data: 1.36089e+06 kW*h|node 1 send data: 1.36089e+06 kW*h", set3Row + u'|' + set3Row,
                     {}},
                 {"SET3, wrong CRC: not even a code", u"SET3"_s,
                     {frame(MeterAnswers::EnergySET3(1, {1, 2, 3, 4}, Wrong))}, "", heard, {}},
                 {"SET1, wrong checksum", u"SET1"_s, {frame(MeterAnswers::EnergySET1({1, 2, 3, 4}, Wrong))}, "",
                     undecodable, {}},
                 {"CE301, any checksum", u"CE301"_s, {frame(MeterAnswers::EnergyCE301({100, 200, 300, 450}, Wrong))},
                     "node 1 send data: 10.5 kW*h", u"1 10.5 1 2 3 4.5 08:30:00 0"_s, {}},
                 {"CE301, infinite: logged, no row of the database's", u"CE301"_s,
                     {"\xC0\x02"
                      "ET0PE(inf)ET0PE(1)ET0PE(1)ET0PE(1)ET0PE(1)\x03\xC1"_ba},
                     "node 1 send data: inf kW*h", heard, {}},
                 {"CE301, energy and a clock with a quote in one", u"CE301"_s,
                     {"\xC0\x02"
                      "ET0PE(4)ET0PE(1)ET0PE(1)ET0PE(1)ET0PE(1)TIME_('%1');)\x03\xC1"_ba},
                     "node 1 send data: 4 kW*h|node 1 send time: '%1' kW*h", u"1 4 1 1 1 1 08:30:00 0"_s,
                     u"000D6F0000000001 2014-03-04 '%1'  "_s},
                 {"CE301, a clock without end", u"CE301"_s, {"\xC0TIME_(12:34\xC1"_ba}, "", undecodable, {}},
                 {"SET1, clock", u"SET1"_s, {frame(MeterAnswers::ClockSET1({{2015, 2, 1}, {3, 4, 5}}))},
                     "node 1 send time: 2015-02-01 03:04:05 kW*h", heard, u"000D6F0000000001 2015-02-01 03:04:05  "_s},
                 {"SET1, no date: an empty reading", u"SET1"_s, {"\xC0\x82P\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xC1"_ba},
                     "node 1 send time:  kW*h", heard, u"000D6F0000000001    "_s},
             })
            QTest::newRow(c.name) << c;
    }

    void answers()
    {
        QFETCH(AnswersCase, c);
        RegisterNode(1, c.model);
        vars.RepeatQueryNumber = 0;
        Create();
        Tick(QTime(8, 30));
        journal.clear();
        for (const QByteArray& unicast : c.unicasts)
            collector->ReceivedUCAST(Node(1), unicast);
        QCOMPARE(journal.join(u'|'), QString::fromUtf8(c.log));
        QCOMPARE(buffer->GetUCAST(Node(1)), c.unicasts.size() == 2 ? "\xC0\xC1"_ba : ""_ba);
        Tick(QTime(8, 31));
        QCOMPARE(Readings().join(u'|'), c.reading);
        QCOMPARE(ClockRows().join(u'|'), c.clock);
    }

    void strangersAnswer()
    {
        Register(9, Node(9), u"1"_s, u"SET1"_s, 1);
        Create();
        Tick(QTime(8, 30));
        journal.clear();
        Answer(9, MeterAnswers::EnergySET1({1, 2, 3, 4})); // kept, not decoded: no node stands before this meter
        Answer(5, MeterAnswers::EnergySET1({1, 2, 3, 4}));
        collector->ReceivedUCAST("' OR '1'='1"_ba, MeterAnswers::Alarm());
        collector->ReceivedBCAST(Node(9), MeterAnswers::Alarm());
        QCOMPARE(journal, Lines("Can not read database"));
        QCOMPARE(Readings(), Lines("9 0 0 0 0 0 08:30:00 1"));
        QVERIFY(!buffer->GetUCAST(Node(9)).isEmpty());
        QVERIFY(!buffer->FindItem(Node(5)));
    }

    void alarmsAndErrors()
    {
        Register(17, Node(1), u"1"_s, u"SET1"_s, 0);
        Register(9, "KTP"_ba, u"1"_s, u"SET1"_s, 1);
        Register(8, "KTP"_ba, u"1"_s, u"SET3"_s, 1);
        Create();
        AdvanceTo({{2015, 3, 1}, {12, 30, 5}});
        collector->ReceivedUCAST(Node(1), "\xC0\x82\x35\x35\xC1"_ba);
        QCOMPARE(BusMessage().toHex(),
            "000000056572726f72"
            "000000380045"
            "00720072006f0072002d0032003000310035002d00300033002d00300031002d00310032002d00330030002d00300035002d003100"
            "37"
            "00000021"
            "313723323031352d30332d30312031323a33303a3035234552524f523a3535230a"_ba);
        collector->ReceivedUCAST("0000000000000000"_ba, MeterAnswers::Alarm());
        collector->zError(26);
        NoteBus();
        QCOMPARE(journal,
            Lines("Open the case: 17|Open the case: 9|Error number 26|"
                  "bus: error Error-2015-03-01-12-30-05-9 9#2015-03-01 12:30:05#ERROR:55#\n|"
                  "bus: error Error-2015-03-01-12-30-05-9 9#2015-03-01 12:30:05#ERROR:26#\n"));
        QVERIFY(!buffer->FindItem(Node(1)));

        Sql(u"DROP TABLE \"Counters\""_s);
        collector->ReceivedUCAST(Node(1), MeterAnswers::Alarm());
        QVERIFY(journal.last().startsWith("no such table: Counters "_L1));
    }

    // --- the substation meter

    void substationMeter_data()
    {
        const auto set3 = [](const QByteArray& header) {
            return QByteArray::fromHex(header + "1027000001000000ffffffff00000000");
        };
        QTest::addColumn<SubstationCase>("c");
        for (const SubstationCase& c : {
                 SubstationCase{"CE301", u"CE301"_s, u"x"_s,
                     "noise ET0PE(1234.5)ET0PE(1)ET0PE(2)\r\nET0PE(3)ET0PE(4)"_ba, {49380, 40, 80, 120, 160}},
                 {"CE301, four items", u"CE301"_s, u"1"_s, "ET0PE(1)ET0PE(1)ET0PE(1)ET0PE(1)"_ba, {}},
                 {"SET3, sum wraps, CRC missing", u"SET3"_s, u"70000"_s, set3("70110112"),
                     {4000, 4000, 0.39999998F, 1717986880.0F, 0}},
                 {"SET3, cut", u"SET3"_s, u"70000"_s, set3("70110112").chopped(1), {}},
                 {"SET3, another meter", u"SET3"_s, u"70000"_s, set3("70110212"), {}},
                 {"SET3, another code", u"SET3"_s, u"70000"_s, set3("70110110"), {}},
             })
            QTest::newRow(c.name) << c;
    }

    void substationMeter()
    {
        QFETCH(SubstationCase, c);
        RegisterSubstation(c.model, c.number);
        OpenSubstation(c.answer);
        QCOMPARE(substation->Write("ET0PE(9)"), 8); // too late an answer to an earlier request: not read
        vars.CounterKTPMultiplier = 40;
        Create();
        Energy e;
        QCOMPARE(collector->ReadPowerFromKTP(e.total, e.t1, e.t2, e.t3, e.t4), !c.registers.isEmpty());
        if (!c.registers.isEmpty())
            QCOMPARE((QList<float>{e.total, e.t1, e.t2, e.t3, e.t4}), c.registers);
        QCOMPARE(journal,
            Lines(c.model == "SET3"_L1 ? "ktp <- 701101120022b4|wait 1000"
                                       : "ktp <- 052f3f210d0a|wait 400|ktp <- 063036310d0a|wait 400|"
                                         "ktp <- 015031022832343638313029030c|wait 400|"
                                         "ktp <- 01523102455430504528290337|wait 400|ktp <- 0d0a|wait 1000")
                + QStringList{u"port: "_s + Hex(c.answer)});
    }

    void clockOfSubstation()
    {
        RegisterSubstation(u"SET3"_s);
        OpenSubstation("\x70\x11\x01\x10\x07\x08\x02\x04\x03\x14"_ba);
        Create();
        QCOMPARE(collector->GetTimeFromCouner(), QDateTime({2014, 3, 4}, {8, 7, 10}, Qt::UTC)); // the code as seconds
        substationAnswer.chop(1);
        QCOMPARE(collector->GetTimeFromCouner(), Start.addSecs(1).addDays(-1));
        Sql(u"UPDATE \"Counters\" SET \"Number\" = '7x'"_s);
        QCOMPARE(collector->GetTimeFromCouner(), Start.addSecs(2).addDays(-1));
        QCOMPARE(journal.filter(u"ktp <- "_s), Lines("ktp <- 701101101726|ktp <- 701101101726"));
    }

    // --- what the modem reports, what the administrator asks for

    void acknowledgements()
    {
        for (int n : {1, 2, 3})
            RegisterNode(n, u"SET1"_s);
        vars.RepeatQueryNumber = 0;
        Create();
        Tick(QTime(8, 30));
        collector->zAcceptUCAST(1);
        collector->zNACK(9);
        collector->zACK(9);
        QCOMPARE(journal.last(), u"Error. Received 'NACK' from modem with number node 1"_s);
        Tick(QTime(8, 31));
        QCOMPARE(journal.takeLast(), u"bus: tempdb 2014-03-04-08-30-00.db 1/3 2/2 3/255"_s);
        collector->zACK(9);
        collector->zACK(9);
        collector->zNACK(9);
        QCOMPARE(journal.last(2), Lines("Received 'ACK', but stack is empty|Received 'NACK', but stack is empty"));
    }

    void numbers()
    {
        RegisterNode(1, u"SET1"_s, u"258"_s);
        RegisterNode(2, u"SET1"_s, u"x"_s);
        Create();
        for (int n : {1, 2, 3})
            collector->SendCounterNumber(Node(n));
        collector->SendCINumber(Node(1));
        collector->SendCINumber("' OR '1'='1"_ba);
        for (int i = 0; i < 3; ++i)
            collector->zNACK(0); // each of the messages waits for its report
        collector->SendCountersNumbers();
        QCOMPARE(journal,
            Lines("node 1 <- c00702010000c1|node 2 <- c00700000000c1||node 1 <- c0063430c1||"
                  "Error. Received 'NACK' from modem with number node 1|"
                  "Error. Received 'NACK' from modem with number node 2|"
                  "Error. Received 'NACK' from modem with number node 1||wait 5000||wait 5000"));
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
        QCOMPARE(Readings(), Lines("1 0 0 0 0 0 08:30:00 255|3 0 0 0 0 0 08:30:00 255"));
    }
};

QTEST_GUILESS_MAIN(tst_Collector)
#include "tst_collector.moc"
