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
#include "register.h"
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

const QDateTime Start(QDate(2014, 3, 4), QTime(8, 29, 30));

/// Address of node `n`; the journal calls it "node n".
QByteArray Node(int n)
{
    return "000D6F000000000" + QByteArray::number(n);
}

constexpr qsizetype RecordSize = 44;
constexpr unsigned int NtpqWaitMs = 240;

QStringList Lines(const char* lines)
{
    return QString::fromUtf8(lines).split(u'|');
}

/// Thrown out of a wait that would not end.
struct GaveUp { };

} // namespace

class tst_Collector : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void openDatabase_data();
    void openDatabase();
    void invalidPatternIsLogged();
    void nothingIsStoredBeforeTheFirstSweep();
    void querySweep();
    void querySweepWithoutRepeats();
    void substationReadAtThirdTry();
    void substationNeverAnswers();
    void restartedQuerySweep();
    void timeSweep();
    void timeSweepPastMidnight();
    void timeSweepAllAnswered();
    void restartedTimeSweep();
    void querySweepWaitsForTimeSweep();
    void timeSweepDuringQuerySweep();
    void midnight();
    void clocksOfCE301();
    void referenceClock_data();
    void referenceClock();
    void ntpqThatDoesNotFinish_data();
    void ntpqThatDoesNotFinish();
    void unlistedServer();
    void answers_data();
    void answers();
    void strangersAnswer();
    void alarm();
    void substationMeter_data();
    void substationMeter();
    void clockOfSubstation_data();
    void clockOfSubstation();
    void acknowledgements();
    void errorMessage();
    void numbers();
    void closingOneByOne();
    void tableDroppedDuringSweep();

private:
    [[nodiscard]] QString Path(const QString& name) const { return directory->filePath(name); }
    void Register(int id, const QByteArray& uin, const QString& number, const QString& model, int type);
    void Sql(const QString& statement);
    [[nodiscard]] QStringList Rows(const QString& query);
    [[nodiscard]] QStringList Readings()
    {
        return Rows(u"SELECT global_id, pwr, pwr1, pwr2, pwr3, pwr4, time_r, status FROM Main_Data"_s);
    }
    [[nodiscard]] QStringList ClockRows()
    {
        return Rows(u"SELECT uin, date_c, time_c, date_r, time_r FROM time_table"_s);
    }
    void FakeNtpq(const QByteArray& script);
    void RegisterSubstation(const QString& model, const QString& number = u"70000"_s);
    void OpenSubstation();
    [[nodiscard]] int LogLines(const QByteArray& text) const;

    void CreateWithNode(quint8 repeats);
    void Create();
    [[nodiscard]] bool Polling() const;
    void Tick(const QDateTime& time);
    void Tick(QTime time) { Tick({CurrentDateTime().date(), time}); }
    void Answer(int node, const QByteArray& payload)
    {
        collector->ReceivedUCAST(Node(node), TCollector::ToC0C1(payload));
    }
    /// The answer comes while the thread waits, and is taken when the tick lets events run.
    void AnswerDuringWait(int wait, int node, const QByteArray& payload);

    void Waited();
    void ActAsSubstation(unsigned int ms);
    QByteArray BusMessage();
    void NoteBus();

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
    QByteArray oldPath;
};

// --- the bench

void tst_Collector::init()
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
    for (const QString& table : RegisterSchema)
        Sql(table);

    vars = SysVar();
    vars.BDType = u"sqlite3"_s;
    vars.BaseName = Path(u"z.db"_s);
    vars.PortCounterKTP = Path(u"ktp"_s);
    vars.RepeateQueryKTPNumber = 0;
    vars.RepeatQueryNumber = 1;
    vars.TimeOfQuery = u":[30]0$"_s;
    vars.TimeOfSetTime = u"00:00$"_s;
    vars.TimeOfGetTime = u":15$"_s;
    plugin = std::make_unique<TServerPlugin>();
    buffer = std::make_unique<ZUCASTBuffer>("000D6F00000000FF"_ba, QByteArray());

    std::array<int, 2> ends{};
    QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()), 0);
    peer = ends[0];
    auto* const socket = new TMyLocalSocket(plugin.get());
    socket->setSocketDescriptor(ends[1]);
    plugin->Connector->newInConnection(socket);
    oldPath = qgetenv("PATH");
    FakeNtpq("exit 0");
}

void tst_Collector::cleanup()
{
    collector.reset();
    substation.reset();
    plugin.reset();
    ::close(peer);
    qputenv("PATH", oldPath);
    QSqlDatabase::removeDatabase(u"probe"_s);
    delete pLog;
    pLog = nullptr;
    duringWait = nullptr;
    substationAnswer.clear();
    journal.clear();
    waits = 0;
}

void tst_Collector::Register(int id, const QByteArray& uin, const QString& number, const QString& model, int type)
{
    Sql(u"INSERT INTO \"Counters\" VALUES (%1, '%2', '%3', '%4', %5, '40')"_s.arg(
        QString::number(id), QString::fromUtf8(uin), number, model, QString::number(type)));
}

void tst_Collector::Sql(const QString& statement)
{
    QSqlQuery query(QSqlDatabase::database(u"probe"_s));
    QVERIFY2(query.exec(statement), qPrintable(statement + query.lastError().text()));
}

QStringList tst_Collector::Rows(const QString& statement)
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

void tst_Collector::FakeNtpq(const QByteArray& script)
{
    QFile file(Path(u"ntpq"_s));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("#!/bin/sh\n[ \"$*\" = -pn ] || exit 1\n" + script + '\n');
    file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    qputenv("PATH", directory->path().toUtf8() + ':' + oldPath);
}

/// With today's reference clock.
void tst_Collector::RegisterSubstation(const QString& model, const QString& number)
{
    Register(9, "KTP"_ba, number, model, 1);
    Sql(u"INSERT INTO time_table VALUES ('KTP', '2014-03-04', '00:15:00', '2014-03-04', '00:15:00')"_s);
}

void tst_Collector::OpenSubstation()
{
    substation = std::make_unique<PseudoTerminal>();
    QString error;
    QVERIFY2(substation->Open(vars.PortCounterKTP, error), qPrintable(error));
}

int tst_Collector::LogLines(const QByteArray& text) const
{
    QFile log(Path(u"log"_s));
    return log.open(QIODevice::ReadOnly) ? static_cast<int>(log.readAll().count(text)) : 0;
}

/// One SET1 node, and a substation meter that is not asked anything.
void tst_Collector::CreateWithNode(quint8 repeats)
{
    Register(1, Node(1), u"1"_s, u"SET1"_s, 0);
    RegisterSubstation(u"none"_s);
    vars.RepeatQueryNumber = repeats;
    Create();
}

void tst_Collector::Create()
{
    collector = std::make_unique<TCollector>(buffer.get(), vars, plugin.get());
    const auto note = [this](const QString& line) { journal.append(line); };
    const auto name = [](QByteArray uin) { return QString::fromUtf8(uin.replace("000D6F000000000", "node ")); };
    connect(collector.get(), &TCollector::SendBroadcastMessage, this,
        [note](const QByteArray& bytes) { note(u"all <- "_s + QString::fromLatin1(bytes.toHex())); });
    connect(
        collector.get(), &TCollector::SendMessage, this, [note, name](const QByteArray& uin, const QByteArray& bytes) {
            note(name(uin) + u" <- "_s + QString::fromLatin1(bytes.toHex()));
        });
    connect(collector.get(), &TCollector::LogMessage, this, [note, name](const QByteArray& text) { note(name(text)); });
    connect(collector.get(), &TCollector::CounterPortData, this,
        [note](const QByteArray& bytes) { note(u"port: "_s + QString::fromLatin1(bytes.toHex())); });
}

bool tst_Collector::Polling() const
{
    const QList<QTimer*> timers = collector->findChildren<QTimer*>();
    return timers.first()->intervalAsDuration().count() == 25000 && timers.first()->isActive();
}

/// Leaves this tick's lines in the journal, but for the first.
void tst_Collector::Tick(const QDateTime& time)
{
    VirtualTime::Advance(CurrentDateTime().msecsTo(time));
    journal.clear();
    collector->timer_event();
    NoteBus();
    QCOMPARE(journal.takeFirst(), u"Timer event: "_s + time.toString(u"dd hh:mm"_s));
}

void tst_Collector::AnswerDuringWait(int wait, int node, const QByteArray& payload)
{
    duringWait = [=, this] {
        if (waits == wait)
            QMetaObject::invokeMethod(
                this, [=, this] { Answer(node, payload); }, Qt::QueuedConnection);
    };
}

/// What was written before a wait is there at its end, and so is what the peers answer.
void tst_Collector::Waited()
{
    const unsigned int ms = VirtualTime::Delays().last();
    if (ms == NtpqWaitMs)
        return; // as many as the real process takes
    if (substation)
        ActAsSubstation(ms);
    journal.append(u"wait %1"_s.arg(ms));
    ++waits;
    if (duringWait)
        duringWait();
}

void tst_Collector::ActAsSubstation(unsigned int ms)
{
    pollfd line{substation->Descriptor(), POLLIN, 0};
    if (::poll(&line, 1, 50) == 1)
        journal.append(u"ktp <- "_s + QString::fromLatin1(substation->Read().toHex()));
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
QByteArray tst_Collector::BusMessage()
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

void tst_Collector::NoteBus()
{
    for (QByteArray message; !(message = BusMessage()).isNull();) {
        QByteArray word;
        QString name;
        QByteArray data;
        QDataStream stream(message);
        stream.setVersion(QDataStream::Qt_4_5);
        stream >> word >> name >> data;
        QStringList records; // each one's meter and status
        for (qsizetype at = 0; at < data.size() && word != "error"; at += RecordSize)
            records.append(u"%1/%2"_s.arg(qFromLittleEndian<qint32>(data.constData() + at))
                               .arg(qFromLittleEndian<qint16>(data.constData() + at + RecordSize - 2)));
        records.sort();
        journal.append(u"bus: %1 %2 %3"_s.arg(QString::fromUtf8(word), name, records.join(u' ')));
    }
}

// --- state and database

void tst_Collector::openDatabase_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("file");

    QTest::addRow("SQLite, absolute") << u"sqlite3"_s << u"/tmp/ravelin.made.db"_s << u"/tmp/ravelin.made.db"_s;
    QTest::addRow("SQLite, beside the program")
        << u"sqlite3"_s << u"made.db"_s << QCoreApplication::applicationDirPath() + u"/made.db"_s;
    QTest::addRow("SQLite, no such folder") << u"sqlite3"_s << u"/nowhere/made.db"_s << QString();
    QTest::addRow("another case") << u"Postgres"_s << u"made"_s << QString();
}

void tst_Collector::openDatabase()
{
    QFETCH(QString, kind);
    QFETCH(QString, name);
    QFETCH(QString, file);
    vars.BDType = kind;
    vars.BaseName = name;
    Create();
    QCOMPARE(collector->LastError().isValid(), file.isEmpty());
    QCOMPARE(QFile::exists(file), !file.isEmpty());
    QFile::remove(file);
    QCOMPARE(LogLines(" (alias name)\n"), file.isEmpty() ? 1 : 0);

    Tick(QTime(8, 30)); // goes on without
    QVERIFY(Polling());
}

void tst_Collector::invalidPatternIsLogged()
{
    vars.TimeOfQuery = u":[30"_s;
    Create();
    Tick(QTime(8, 30));
    Tick(QTime(9, 0));
    QCOMPARE(journal, Lines("all <- c0c1"));
    QCOMPARE(LogLines("The time pattern \":[30\" is never met"), 1);
}

void tst_Collector::nothingIsStoredBeforeTheFirstSweep()
{
    CreateWithNode(1);
    Answer(1, MeterAnswers::EnergySET1({1, 2, 3, 4}));
    QCOMPARE(Readings(), QStringList());
    Tick(QTime(8, 31));
    QCOMPARE(journal, Lines("all <- c0c1")); // and no sweep is open
}

// --- sweeps

void tst_Collector::querySweep()
{
    Register(1, Node(1), u"1"_s, u"SET1"_s, 0);
    Register(2, Node(2), u"2"_s, u"CE102"_s, 0);
    RegisterSubstation(u"SET3"_s);
    vars.RepeatQueryNumber = 2;
    Create();
    QVERIFY(Polling());

    AnswerDuringWait(3, 1, MeterAnswers::EnergySET1({10000, 20000, 30000, 40000}));
    Tick(QTime(8, 30, 5));
    QCOMPARE(journal,
        Lines("Begin questioning...|all <- c001c1|wait 1000|port: |Not received data from KTP|wait 15000|node 1 <- "
              "c002c1|wait 10000|node 1 send data: 1000 kW*h|node 2 <- c002c1|wait 10000|all <- c0c1"));
    QVERIFY(Polling());

    const QStringList again = Lines("Repeat query...|node 2 not send data...|node 2 <- c001c1|wait 10000|wait 15000|"
                                    "node 2 <- c002c1|wait 10000|all <- c0c1");
    Tick(QTime(8, 31));
    QCOMPARE(journal, again);
    Tick(QTime(8, 32));
    QCOMPARE(journal, again);

    VirtualTime::Advance(60000);
    collector->timer_event();
    QCOMPARE(BusMessage().toHex(),
        "0000000674656d706462"
        "0000002c0032003000310034002d00300033002d00300034002d00300038002d00330030002d00300035002e00640062"
        "00000084"
        "090000000000000000000000000000000000000000000000323031342d30332d303430383a33303a30350100"
        "0100000000007a440000c84200004843000096430000c843323031342d30332d303430383a33303a30350000"
        "020000000000000000000000000000000000000000000000323031342d30332d303430383a33303a3035ff00"_ba);
    Tick(QTime(8, 40));
    QCOMPARE(journal, Lines("all <- c0c1")); // closed
    Answer(2, "\x02late"_ba);
    Answer(1, MeterAnswers::EnergySET1({0, 0, 0, 1}));
    QCOMPARE(Readings(),
        Lines("1 1000 100 200 300 400 08:30:05 0|1 0.01 0 0 0 0.01 08:30:05 0|2 0 0 0 0 0 08:30:05 255|9 0 0 0 0 0 "
              "08:30:05 1"));
}

void tst_Collector::querySweepWithoutRepeats()
{
    Register(1, Node(1), u"1"_s, u"SET1"_s, 0);
    vars.RepeatQueryNumber = 0;
    Create();
    Tick(QTime(8, 30));
    QCOMPARE(journal,
        Lines("Begin questioning...|all <- c001c1|Read database failed: |Not received data from KTP|wait 15000|node 1 "
              "<- c002c1|wait 10000|all <- c0c1"));
    Tick(QTime(8, 31));
    QCOMPARE(journal, Lines("Observed reading!|all <- c0c1|bus: tempdb 2014-03-04-08-30-00.db 1/255"));
    Tick(QTime(9, 15)); // nor is any clock asked for
    QCOMPARE(journal, QStringList());
}

void tst_Collector::substationReadAtThirdTry()
{
    RegisterSubstation(u"SET3"_s);
    OpenSubstation();
    vars.RepeateQueryKTPNumber = 15;
    duringWait = [this] {
        if (waits == 4)
            substationAnswer = QByteArray::fromHex("7011011210270000102700001027000010270000");
    };
    Create();
    collector->NeedQuery();
    collector->NeedQuery();
    Tick(QTime(8, 31));
    const QStringList silence = Lines("ktp <- 701101120022b4|wait 1000|port: |wait 10000");
    QCOMPARE(journal,
        Lines("Begin questioning...|all <- c001c1") + silence + silence
            + Lines("ktp <- 701101120022b4|wait 1000|port: 7011011210270000102700001027000010270000|KTP Data: 400|"
                    "wait 10000|wait 15000|all <- c0c1"));
    QCOMPARE(Readings(), Lines("9 400 100 100 100 100 08:31:00 0"));
    Tick(QTime(8, 32));
    QCOMPARE(journal, Lines("Observed reading!|all <- c0c1|bus: tempdb 2014-03-04-08-31-00.db 9/0"));
    Tick(QTime(8, 33)); // the request was for one sweep
    QCOMPARE(journal, Lines("all <- c0c1"));
}

void tst_Collector::substationNeverAnswers()
{
    vars.RepeateQueryKTPNumber = 15;
    CreateWithNode(1);
    Tick(QTime(8, 30));
    QCOMPARE(journal.count(u"wait 10000"_s), 15 + 1);
    QVERIFY(journal.contains(u"Not received data from KTP"_s));
}

void tst_Collector::restartedQuerySweep()
{
    vars.BCAST_to_UCAST_Delay = vars.UCAST_to_UCAST_Delay = 0;
    CreateWithNode(5);
    Tick(QTime(8, 30, 0));
    Tick(QTime(8, 30, 25));
    QCOMPARE(journal.filter(QRegularExpression(u"^[A-Zb]"_s)),
        Lines("Repeat query...|Begin questioning...|Observed reading!|Not received data from KTP|"
              "bus: tempdb 2014-03-04-08-30-00.db 1/255 9/1"));
}

void tst_Collector::timeSweep()
{
    Register(1, Node(1), u"70000"_s, u"SET3"_s, 0);
    RegisterSubstation(u"SET3"_s);
    Create();
    AnswerDuringWait(6, 1, MeterAnswers::ClockSET3(70000, {{2014, 3, 4}, {9, 14, 58}}));
    Tick(QTime(9, 15));
    QCOMPARE(journal,
        Lines("SET3|node 1 <- 04701101101726|wait 10000|wait 15000|node 1 <- c002c1|wait 1500|Repeat query...|node 1 "
              "not send data...|node 1 <- 04701101101726|wait 10000|wait 15000|node 1 <- c002c1|wait 10000|node 1 send "
              "time: 2014-03-04 09:14:58 kW*h|all <- c0c1"));
    QCOMPARE(ClockRows(),
        Lines("000D6F0000000001 2014-03-04 09:14:58 2014-03-04 09:15:26|KTP 2014-03-04 00:15:00 2014-03-04 00:15:00"));
    Tick(QTime(9, 17));
    QCOMPARE(journal, Lines("Observed reading!|all <- c0c1|bus: tempdb_t time_2014-03-04-'now'.db 1/0 9/0"));
    Tick(QTime(9, 18));
    QCOMPARE(journal, Lines("all <- c0c1"));
}

void tst_Collector::timeSweepPastMidnight()
{
    Register(1, Node(1), u"1"_s, u"CE102"_s, 0); // has no message for its clock
    RegisterSubstation(u"SET3"_s);
    Create();
    Tick(QTime(23, 15));
    QVERIFY(journal.contains(u"node 1 <- "_s));
    Sql(u"INSERT INTO time_table VALUES ('KTP', '2014-03-05', '00:00:01', '2014-03-05', '00:00:01')"_s);
    Tick(QDateTime({2014, 3, 5}, {0, 1}));
    QCOMPARE(journal, Lines("Observed reading!|all <- c0c1|bus: tempdb_t time_2014-03-04-'now'.db 9/0"));
}

void tst_Collector::timeSweepAllAnswered()
{
    Sql(u"INSERT INTO time_table VALUES ('000D6F0000000001', '', '', '2014-03-04', '')"_s);
    CreateWithNode(0);
    Tick(QTime(8, 30));
    Tick(QTime(8, 31));
    Tick(QTime(9, 15));
    QCOMPARE(journal, QStringList());
    QVERIFY(Polling());
    Tick(QTime(9, 16)); // the query sweep is closed a second time
    QCOMPARE(journal, Lines("Observed reading!|all <- c0c1|bus: tempdb 2014-03-04-08-30-00.db 1/255 9/1"));
}

void tst_Collector::restartedTimeSweep()
{
    vars.BCAST_to_UCAST_Delay = vars.UCAST_to_UCAST_Delay = 0;
    CreateWithNode(2);
    Tick(QTime(9, 15));
    Tick(QTime(9, 15, 30));
    QCOMPARE(journal.filter(QRegularExpression(u"^[^w]"_s)), // from here on checked as a query sweep
        Lines("Observed reading!|SET1|node 1 <- 0450|node 1 <- c002c1|Repeat query...|node 1 not send data...|node 1 "
              "<- c001c1|node 1 <- c002c1|all <- c0c1|bus: tempdb_t time_2014-03-04-'now'.db 9/0"));
    Tick(QTime(9, 16));
    Tick(QTime(9, 17));
    QCOMPARE(journal, Lines("Observed reading!|all <- c0c1|bus: tempdb 2014-03-04-'now'.db "));
}

void tst_Collector::querySweepWaitsForTimeSweep()
{
    CreateWithNode(2);
    Tick(QTime(9, 15));
    Tick(QTime(9, 30));
    QCOMPARE(journal.filter(QRegularExpression(u"^[A-Z]"_s)), Lines("Repeat query..."));
    Tick(QTime(9, 31));
    QCOMPARE(journal.first(2), Lines("Observed reading!|Begin questioning..."));
    QCOMPARE(journal.last(), u"bus: tempdb_t time_2014-03-04-'now'.db 9/0"_s);
}

void tst_Collector::timeSweepDuringQuerySweep()
{
    CreateWithNode(1);
    Tick(QTime(9, 0));
    Tick(QTime(9, 15)); // from here on checked as a time sweep
    QVERIFY(journal.contains(u"node 1 <- 0450"_s));
    Tick(QTime(9, 16));
    QCOMPARE(journal.first(2), Lines("Observed reading!|Begin questioning..."));
    QCOMPARE(journal.last(), u"bus: tempdb_t time_2014-03-04-09-00-00.db 9/0"_s);
}

void tst_Collector::midnight()
{
    Create();
    Tick(QDateTime({2014, 3, 9}, {0, 0, 7}));
    QCOMPARE(journal.first(4),
        Lines("Time sync: |all <- c00830373030303030373039303332303134c1|Begin questioning...|all <- c001c1"));
}

void tst_Collector::clocksOfCE301()
{
    Register(1, Node(1), u"1"_s, u"SET3"_s, 0);
    Register(2, Node(2), u"2"_s, u"SET1"_s, 0);
    Register(9, "KTP"_ba, u"9"_s, u"CE301"_s, 1); // one of any kind will do
    vars.TimeOfQuery = u"never"_s;
    Create();
    Tick(QDateTime({2014, 3, 9}, {0, 0, 7}));
    journal.replaceInStrings(u"node 2"_s, u"node 1"_s); // in no order
    QCOMPARE(journal,
        Lines("node 1 <- 040157310254494d455f2830303a30303a3037290307|wait 10000|"
              "node 1 <- 040157310254494d455f2830303a30303a3137290308|wait 10000|all <- c0c1"));
}

// --- the reference clock

void tst_Collector::referenceClock_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("row");

    QTest::addRow("listed") << u"10.0.0.1"_s << u"K'TP 2014-03-04 2014-03-04 5"_s;
    QTest::addRow("any part of a line") << u".PPS."_s << u"K'TP 2014-03-04 2014-03-04 7"_s;
    QTest::addRow("none configured: the heading") << u""_s << u"K'TP 2014-03-04 2014-03-04 0"_s;
}

void tst_Collector::referenceClock()
{
    FakeNtpq("echo 'remote refid st t when poll reach delay offset jitter'\n"
             "echo '*10.0.0.1 .GPS. 1 u 33 64 377 0.512 5000 0.021'\n"
             "echo '+10.0.0.2 .PPS. 1 u 33 64 377 0.512 7000.9 0.021'");
    Register(9, "K''TP"_ba, u"1"_s, u"SET3"_s, 1);
    QFETCH(QString, server);
    vars.NtpServer = server;
    Create();
    for (const QTime time : {QTime(9, 15), QTime(10, 15)}) { // once a day
        Tick(time);
        QTEST(Rows(u"SELECT uin, date_c, date_r, strftime('%s', time_r) - strftime('%s', time_c) FROM time_table"_s)
                  .join(u'|'),
            "row");
    }
}

void tst_Collector::ntpqThatDoesNotFinish_data()
{
    QTest::addColumn<bool>("installed");
    QTest::addRow("hangs") << true;
    QTest::addRow("not installed") << false;
}

void tst_Collector::ntpqThatDoesNotFinish()
{
    QFETCH(bool, installed);
    FakeNtpq("exec sleep 60");
    if (!installed)
        qputenv("PATH", "/nowhere");
    Register(1, Node(1), u"1"_s, u"SET1"_s, 0);
    Create();
    Tick(QTime(9, 15));
    QCOMPARE(journal, QStringList());
    QVERIFY(!Polling());
    QCOMPARE(VirtualTime::Delays().size(), installed ? 120 : 0);
    QCOMPARE(LogLines("ntpq -pn did not finish"), 1);
}

void tst_Collector::unlistedServer()
{
    FakeNtpq("echo '*10.0.0.1 .GPS. 1 u 33 64 377 0.512 5000 0.021'");
    vars.NtpServer = u"10.0.0.9"_s;
    Create();
    duringWait = [this] {
        if (waits == 100)
            throw GaveUp();
    };
    QVERIFY_EXCEPTION_THROWN(Tick(QTime(9, 15)), GaveUp);
    QCOMPARE(journal.count(u"wait 1000"_s), 100);
    QCOMPARE(LogLines("ntpq does not list the NTP server 10.0.0.9"), 1);
}

// --- answers

void tst_Collector::answers_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<QList<QByteArray>>("unicasts");
    QTest::addColumn<QStringList>("log");
    QTest::addColumn<QString>("reading"); // once the sweep is closed
    QTest::addColumn<QString>("clock");

    const auto frame = [](const QByteArray& payload) { return TCollector::ToC0C1(payload); };
    const auto noLog = QStringList();
    const auto noClock = QString();
    const QByteArray set3 = frame(MeterAnswers::EnergySET3(70000, {123456700, 0, 0, 0xC0C17D}));
    const QStringList set3Log{u"node 1 send data: 1.36089e+06 kW*h"_s};
    const QString set3Row = u"1 1360890 1234570 0 0 126324 08:30:00 0"_s;

    QTest::addRow("SET3, stuffed, six digits") << u"SET3"_s << QList{set3} << set3Log << set3Row << noClock;
    QTest::addRow("in three unicasts") << u"SET3"_s << QList{set3.first(1), set3.sliced(1, 9), set3.sliced(10)}
                                       << set3Log << set3Row << noClock;
    QTest::addRow("two glued: the second waits for the next unicast")
        << u"SET3"_s << QList{set3 + set3, "\xC0\xC1"_ba} << set3Log + set3Log << set3Row + u'|' + set3Row << noClock;
    QTest::addRow("SET3, wrong CRC: not even a code")
        << u"SET3"_s << QList{frame(MeterAnswers::EnergySET3(1, {1, 2, 3, 4}, MeterAnswers::Checksum::Wrong))} << noLog
        << u"1 0 0 0 0 0 08:30:00 2"_s << noClock;
    QTest::addRow("SET1, wrong checksum")
        << u"SET1"_s << QList{frame(MeterAnswers::EnergySET1({1, 2, 3, 4}, MeterAnswers::Checksum::Wrong))} << noLog
        << u"1 0 0 0 0 0 08:30:00 1"_s << noClock;
    QTest::addRow("CE301, any checksum") << u"CE301"_s
                                         << QList{frame(MeterAnswers::EnergyCE301(
                                                {100, 200, 300, 450}, MeterAnswers::Checksum::Wrong))}
                                         << Lines("node 1 send data: 10.5 kW*h") << u"1 10.5 1 2 3 4.5 08:30:00 0"_s
                                         << noClock;
    QTest::addRow("CE301, no number in a tariff") << u"CE301"_s
                                                  << QList{"\xC0\x02"
                                                           "ET0PE(1)ET0PE(x)\x03\xC1"_ba}
                                                  << noLog << u"1 0 0 0 0 0 08:30:00 1"_s << noClock;
    QTest::addRow("CE301, infinite: logged, no row of the database's")
        << u"CE301"_s
        << QList{"\xC0\x02"
                 "ET0PE(inf)ET0PE(1)ET0PE(1)ET0PE(1)ET0PE(1)\x03\xC1"_ba}
        << Lines("node 1 send data: inf kW*h") << u"1 0 0 0 0 0 08:30:00 2"_s << noClock;
    QTest::addRow("CE301, energy and clock in one")
        << u"CE301"_s
        << QList{"\xC0\x02"
                 "ET0PE(4)ET0PE(1)ET0PE(1)ET0PE(1)ET0PE(1)TIME_(12:34:56)\x03\xC1"_ba}
        << Lines("node 1 send data: 4 kW*h|node 1 send time: 12:34:56 kW*h") << u"1 4 1 1 1 1 08:30:00 0"_s
        << u"000D6F0000000001 2014-03-04 12:34:56  "_s;
    QTest::addRow("CE301, a clock with a quote")
        << u"CE301"_s << QList{"\xC0TIME_('%1');)\xC1"_ba} << Lines("node 1 send time: '%1' kW*h")
        << u"1 0 0 0 0 0 08:30:00 2"_s << u"000D6F0000000001 2014-03-04 '%1'  "_s;
    QTest::addRow("CE301, a clock without end")
        << u"CE301"_s << QList{"\xC0TIME_(12:34\xC1"_ba} << noLog << u"1 0 0 0 0 0 08:30:00 1"_s << noClock;
    QTest::addRow("SET1, clock") << u"SET1"_s << QList{frame(MeterAnswers::ClockSET1({{2015, 2, 1}, {3, 4, 5}}))}
                                 << Lines("node 1 send time: 2015-02-01 03:04:05 kW*h") << u"1 0 0 0 0 0 08:30:00 2"_s
                                 << u"000D6F0000000001 2015-02-01 03:04:05  "_s;
    QTest::addRow("SET1, no date: an empty reading")
        << u"SET1"_s << QList{"\xC0\x82P\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xC1"_ba} << Lines("node 1 send time:  kW*h")
        << u"1 0 0 0 0 0 08:30:00 2"_s << u"000D6F0000000001    "_s;
    QTest::addRow("CE102 is not decoded") << u"CE102"_s << QList{frame(MeterAnswers::EnergyCE102(1, 100))} << noLog
                                          << u"1 0 0 0 0 0 08:30:00 2"_s << noClock;
}

void tst_Collector::answers()
{
    QFETCH(QString, model);
    QFETCH(QList<QByteArray>, unicasts);
    Register(1, Node(1), u"1"_s, model, 0);
    vars.RepeatQueryNumber = 0;
    Create();
    Tick(QTime(8, 30));
    journal.clear();
    for (const QByteArray& unicast : unicasts)
        collector->ReceivedUCAST(Node(1), unicast);
    QTEST(journal, "log");
    QCOMPARE(buffer->GetUCAST(Node(1)), unicasts.size() == 2 ? "\xC0\xC1"_ba : ""_ba);
    Tick(QTime(8, 31));
    QTEST(Readings().join(u'|'), "reading");
    QTEST(ClockRows().join(u'|'), "clock");
}

void tst_Collector::strangersAnswer()
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

void tst_Collector::alarm()
{
    Register(17, Node(1), u"1"_s, u"SET1"_s, 0);
    Register(9, Node(9), u"1"_s, u"SET1"_s, 1);
    Create();
    VirtualTime::Advance(CurrentDateTime().msecsTo({{2015, 3, 1}, {12, 30, 5}}));
    collector->ReceivedUCAST(Node(1), "\xC0\x82\x35\x35\xC1"_ba);
    QCOMPARE(BusMessage().toHex(),
        "000000056572726f72"
        "000000380045"
        "00720072006f0072002d0032003000310035002d00300033002d00300031002d00310032002d00330030002d00300035002d00310037"
        "00000021"
        "313723323031352d30332d30312031323a33303a3035234552524f523a3535230a"_ba);
    collector->ReceivedUCAST("0000000000000000"_ba, MeterAnswers::Alarm());
    NoteBus();
    QCOMPARE(journal, Lines("Open the case: 17|Open the case: 9|bus: error Error-2015-03-01-12-30-05-9 "));
    QVERIFY(!buffer->FindItem(Node(1)));

    Sql(u"DROP TABLE \"Counters\""_s);
    collector->ReceivedUCAST(Node(1), MeterAnswers::Alarm());
    QVERIFY(journal.last().startsWith("no such table: Counters "_L1));
}

// --- the substation meter

void tst_Collector::substationMeter_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<QString>("number");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QList<float>>("registers"); // empty: not read

    const QByteArray set3 = QByteArray::fromHex("701101121027000001000000ffffffff00000000");
    QTest::addRow("CE301") << u"CE301"_s << u"x"_s << "noise ET0PE(1234.5)ET0PE(1)ET0PE(2)\r\nET0PE(3)ET0PE(4)"_ba
                           << QList<float>{49380, 40, 80, 120, 160};
    QTest::addRow("CE301, no number as total")
        << u"CE301"_s << u"1"_s << "ET0PE()ET0PE(1)ET0PE(1)ET0PE(1)ET0PE(1)"_ba << QList<float>{0, 40, 40, 40, 40};
    QTest::addRow("CE301, no number as tariff")
        << u"CE301"_s << u"1"_s << "ET0PE(1)ET0PE(1)ET0PE()ET0PE(1)ET0PE(1)"_ba << QList<float>();
    QTest::addRow("CE301, four items") << u"CE301"_s << u"1"_s << "ET0PE(1)ET0PE(1)ET0PE(1)ET0PE(1)"_ba
                                       << QList<float>();
    QTest::addRow("SET3, sum wraps, CRC missing")
        << u"SET3"_s << u"70000"_s << set3 << QList<float>{4000, 4000, 0.39999998F, 1717986880.0F, 0};
    QTest::addRow("SET3, cut") << u"SET3"_s << u"70000"_s << set3.chopped(1) << QList<float>();
    QTest::addRow("SET3, another meter") << u"SET3"_s << u"70001"_s << set3 << QList<float>();
}

void tst_Collector::substationMeter()
{
    QFETCH(QString, model);
    QFETCH(QString, number);
    QFETCH(QList<float>, registers);
    RegisterSubstation(model, number);
    OpenSubstation();
    vars.CounterKTPMultiplier = 40;
    QFETCH(QByteArray, answer);
    substationAnswer = answer;
    Create();
    Energy energy;
    QCOMPARE(
        collector->ReadPowerFromKTP(energy.total, energy.t1, energy.t2, energy.t3, energy.t4), !registers.isEmpty());
    if (!registers.isEmpty())
        QCOMPARE((QList<float>{energy.total, energy.t1, energy.t2, energy.t3, energy.t4}), registers);
    QCOMPARE(journal.takeLast(), u"port: "_s + QString::fromLatin1(answer.toHex()));
    if (model == "CE301"_L1)
        QCOMPARE(journal,
            Lines("ktp <- 052f3f210d0a|wait 400|ktp <- 063036310d0a|wait 400|ktp <- 015031022832343638313029030c|wait "
                  "400|ktp <- 01523102455430504528290337|wait 400|ktp <- 0d0a|wait 1000"));
    else
        QCOMPARE(journal.last(), u"wait 1000"_s);
}

void tst_Collector::clockOfSubstation_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<QString>("number");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QDateTime>("time");
    QTest::addColumn<qsizetype>("messages");

    const QDateTime yesterday = Start.addDays(-1);
    QTest::addRow("SET3: the code reads as seconds") << u"SET3"_s << u"70000"_s << "70110110070802040314"_ba
                                                     << QDateTime({2014, 3, 4}, {8, 7, 10}, Qt::UTC) << qsizetype{1};
    QTest::addRow("SET3, cut") << u"SET3"_s << u"70000"_s << "701101100708020403"_ba << yesterday << qsizetype{1};
    QTest::addRow("SET3, no number") << u"SET3"_s << u"7x"_s << ""_ba << yesterday << qsizetype{0};
    QTest::addRow("CE301") << u"CE301"_s << u"1"_s << ""_ba << yesterday << qsizetype{4};
}

void tst_Collector::clockOfSubstation()
{
    QFETCH(QString, model);
    QFETCH(QString, number);
    QFETCH(QByteArray, answer);
    RegisterSubstation(model, number);
    OpenSubstation();
    substationAnswer = QByteArray::fromHex(answer);
    Create();
    QTEST(collector->GetTimeFromCouner(), "time");
    QTEST(journal.filter(u"ktp <- "_s).size(), "messages");
}

// --- what the modem reports

void tst_Collector::acknowledgements()
{
    Register(1, Node(1), u"1"_s, u"SET1"_s, 0);
    Register(2, Node(2), u"2"_s, u"SET1"_s, 0);
    vars.RepeatQueryNumber = 0;
    Create();
    Tick(QTime(8, 30));
    journal.clear();
    collector->zAcceptUCAST(1);
    collector->zNACK(9);
    collector->zACK(9);
    collector->zACK(9);
    collector->zNACK(9);
    collector->CheckAlarm();
    QCOMPARE(journal,
        Lines("Error. Received 'NACK' from modem with number node 1|Received 'ACK', but stack is empty|Received "
              "'NACK', but stack is empty"));
    Tick(QTime(8, 31));
    QCOMPARE(journal.last(), u"bus: tempdb 2014-03-04-08-30-00.db 1/3 2/2"_s);
}

void tst_Collector::errorMessage()
{
    Register(7, "KTP"_ba, u"1"_s, u"SET3"_s, 1);
    Register(8, "KTP"_ba, u"1"_s, u"SET3"_s, 1);
    Create();
    VirtualTime::Advance(CurrentDateTime().msecsTo({{2024, 5, 1}, {13, 45}}));
    collector->zError(26);
    QCOMPARE(journal, Lines("Error number 26"));
    QCOMPARE(BusMessage().toHex(),
        "000000056572726f72"
        "000000360045"
        "00720072006f0072002d0032003000320034002d00300035002d00300031002d00310033002d00340035002d00300030002d0037"
        "00000020"
        "3723323032342d30352d30312031333a34353a3030234552524f523a3236230a"_ba);
}

// --- numbers

void tst_Collector::numbers()
{
    Register(1, Node(1), u"258"_s, u"SET1"_s, 0);
    Register(2, Node(2), u"192"_s, u"SET1"_s, 0);
    Register(3, Node(3), u"x"_s, u"SET1"_s, 0);
    Create();
    for (int n : {1, 2, 3, 4})
        collector->SendCounterNumber(Node(n));
    collector->SendCINumber(Node(1));
    collector->SendCINumber("' OR '1'='1"_ba);
    QCOMPARE(journal,
        Lines("node 1 <- c00702010000c1|node 2 <- c0077de0000000c1|node 3 <- c00700000000c1||node 1 <- c0063430c1|"));
    for (int i = 0; i < 4; ++i)
        collector->zNACK(0); // each of the messages waits for its report
    QCOMPARE(journal.last(), u"Error. Received 'NACK' from modem with number node 1"_s);

    journal.clear();
    collector->SendCountersNumbers();
    QCOMPARE(journal, Lines("|wait 5000||wait 5000||wait 5000"));
}

// --- faults of the database

void tst_Collector::closingOneByOne()
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

void tst_Collector::tableDroppedDuringSweep()
{
    CreateWithNode(0);
    Tick(QTime(8, 30));
    Sql(u"DROP TABLE \"Main_Data\""_s);
    Answer(1, MeterAnswers::EnergySET1({1, 2, 3, 4}));
    Tick(QTime(8, 31));
    QCOMPARE(journal.last(), u"bus: tempdb 2014-03-04-08-30-00.db "_s);
    Tick(QTime(8, 32));
    QCOMPARE(journal, Lines("all <- c0c1"));
}

QTEST_GUILESS_MAIN(tst_Collector)
#include "tst_collector.moc"
