#include "collectorbench.h"

#include "connector.h"
#include "frame.h"
#include "localsocket.h"
#include "terminal.h"

#include <QDataStream>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTimer>
#include <QtEndian>

#include <array>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

void CollectorBench::init()
{
    VirtualTime::Reset({{2014, 3, 4}, {8, 29, 30}});
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

void CollectorBench::cleanup()
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

// --- database and log

void CollectorBench::Sql(const QString& statement)
{
    QSqlQuery query(QSqlDatabase::database(u"probe"_s));
    QVERIFY2(query.exec(statement), qPrintable(statement + query.lastError().text()));
}

QStringList CollectorBench::Rows(const QString& statement)
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

void CollectorBench::Register(int id, const QByteArray& uin, const QString& number, const QString& model, int type)
{
    Sql(u"INSERT INTO \"Counters\" VALUES (%1, '%2', '%3', '%4', %5, '40')"_s.arg(
        QString::number(id), QString::fromUtf8(uin), number, model, QString::number(type)));
}

void CollectorBench::RegisterNode(int n, const QString& model, const QString& number)
{
    Register(n, Node(n), number, model, 0);
}

void CollectorBench::RegisterSubstation(const QString& model)
{
    Register(9, "KTP"_ba, u"70000"_s, model, 1);
    Sql(u"INSERT INTO time_table VALUES ('KTP', '2014-03-04', '00:15:00', '2014-03-04', '00:15:00')"_s);
}

// --- the collector

void CollectorBench::Create()
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

bool CollectorBench::Polling() const
{
    const QTimer* const timer = collector->findChildren<QTimer*>().first();
    return timer->intervalAsDuration().count() == 25000 && timer->isActive();
}

void CollectorBench::Tick(const QDateTime& time)
{
    VirtualTime::Advance(CurrentDateTime().msecsTo(time));
    journal.clear();
    collector->timer_event();
    NoteBus();
    QCOMPARE(journal.takeFirst(), u"Timer event: "_s + time.toString(u"dd hh:mm"_s));
}

void CollectorBench::Tick(const QDateTime& time, const QString& lines)
{
    Tick(time);
    QCOMPARE(journal.join(u'|'), lines);
}

void CollectorBench::Answer(int node, const QByteArray& payload)
{
    collector->ReceivedUCAST(Node(node), TCollector::ToC0C1(payload));
}

void CollectorBench::AnswerDuringWait(int wait, int node, const QByteArray& payload)
{
    duringWait = [=, this] {
        if (waits == wait)
            QMetaObject::invokeMethod(
                this, [=, this] { Answer(node, payload); }, Qt::QueuedConnection);
    };
}

// --- what surrounds it

void CollectorBench::FakeNtpq(const QByteArray& script)
{
    const QString path = Write(Path(u"ntpq"_s), "#!/bin/sh\n[ \"$*\" = -pn ] || exit 1\n" + script + '\n');
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("PATH", directory->path().toUtf8() + ':' + oldPath);
}

void CollectorBench::OpenSubstation(const QByteArray& answer)
{
    substationAnswer = answer;
    substationSettings.clear();
    substation = std::make_unique<PseudoTerminal>();
    QString error;
    QVERIFY2(substation->Open(vars.PortCounterKTP, error), qPrintable(error));
}

// What was written before a wait is there at its end, and so is what the peers answer.
void CollectorBench::Waited()
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

void CollectorBench::ActAsSubstation(unsigned int ms)
{
    pollfd line{substation->Descriptor(), POLLIN, 0};
    if (substationSettings.isEmpty())
        substationSettings = LineSettings();
    if (::poll(&line, 1, 50) == 1)
        journal.append(u"ktp <- "_s + QString::fromLatin1(substation->Read().toHex()));
    if (ms == 1000)
        SayTo(*substation, substationAnswer);
}

QByteArray CollectorBench::BusMessage() const
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

void CollectorBench::NoteBus()
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
