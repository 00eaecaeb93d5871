#include "clock.h"
#include "echonode.h"
#include "log.h"
#include "modemengine.h"
#include "pseudoterminal.h"
#include "virtualtime.h"
#include "zigbee.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <poll.h>
#include <sys/ioctl.h>

using namespace Qt::StringLiterals;

using Lines = QList<QByteArray>;

namespace {

const QDateTime Start(QDate(2014, 3, 4), QTime(8, 29, 30));
constexpr int PatienceMs = 5000;
constexpr int SilenceMs = 50;

/// A line on the desk in virtual time: the peer acts whenever the driver waits. What the driver wrote is kept with its
/// time in ms.
class Desk final {
public:
    Desk(const QString& path, LinePeer& linePeer) : peer(linePeer)
    {
        QString error;
        if (!terminal.Open(path, error))
            qFatal("%s", qPrintable(error));
        VirtualTime::WhileWaiting([this] { Act(); });
    }

    ~Desk() { VirtualTime::WhileWaiting(nullptr); }

    /// What was written before the wait arrived at its begin, what falls due during it is there at its end.
    void Act()
    {
        pollfd line{terminal.Descriptor(), POLLIN, 0};
        if (::poll(&line, 1, SilenceMs) == 1) {
            const QByteArray bytes = terminal.Read();
            written.append(QByteArray::number(lastAct.count() / 1000) + ' ' + bytes);
            peer.Receive(bytes, lastAct);
        }
        lastAct = std::chrono::milliseconds(Start.msecsTo(CurrentDateTime()));
        for (std::optional<Moment> due; (due = peer.NextDue()) && *due <= lastAct;)
            Say(peer.Take(lastAct));
    }

    /// Returns when the driver's side can read all of `bytes`.
    void Say(const QByteArray& bytes)
    {
        const int before = Unread();
        QCOMPARE(terminal.Write(bytes), bytes.size());
        for (int ms = 0; Unread() < before + bytes.size(); ++ms) {
            QVERIFY(ms < PatienceMs);
            ::poll(nullptr, 0, 1);
        }
    }

    QByteArray Heard(qsizetype size, int patienceMs = PatienceMs)
    {
        QByteArray bytes;
        pollfd line{terminal.Descriptor(), POLLIN, 0};
        while (bytes.size() < size && ::poll(&line, 1, patienceMs) == 1)
            bytes += terminal.Read();
        return bytes;
    }

    PseudoTerminal terminal;
    Lines written;

private:
    int Unread() const
    {
        int bytes = 0;
        ::ioctl(terminal.DaemonSide(), FIONREAD, &bytes);
        return bytes;
    }

    LinePeer& peer;
    Moment lastAct{0};
};

/// Answers "ati" with fixed bytes, and nothing else.
class CannedModem final : public LinePeer {
public:
    explicit CannedModem(QByteArray answerToAti = {}) : answer(std::move(answerToAti)) { }

    void Receive(const QByteArray& bytes, Moment now) override
    {
        if (bytes == "ati\r\n" && !answer.isEmpty())
            due = now;
    }
    std::optional<Moment> NextDue() const override { return due; }
    QByteArray Take(Moment) override
    {
        due.reset();
        return answer;
    }

private:
    QByteArray answer;
    std::optional<Moment> due;
};

Lines Table(const ZigBee& modem)
{
    Lines lines;
    for (const ZDevice* node = modem.Nodes(); node; node = node->Next)
        lines.append(node->UIN + ' ' + node->Type.toUtf8());
    return lines;
}

} // namespace

class tst_RadioLink : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void startUpAndResets();
    void identity_data();
    void identity();
    void frames_data();
    void frames();
    void pollSignals();
    void pollInsidePoll();
    void everythingAfterALongWait();
    void portMissing();
    void portGoneAndBack();
    void nobodyDrains();

private: // NOLINT(readability-redundant-access-specifiers)
    [[nodiscard]] QString Port() const { return directory->filePath(u"modem"_s); }
    [[nodiscard]] Lines LogTexts() const;

    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<TLog> log;
};

void tst_RadioLink::init()
{
    VirtualTime::Reset(Start);
    directory = std::make_unique<QTemporaryDir>();
    log = std::make_unique<TLog>(directory->filePath(u"log"_s));
    pLog = log.get();
}

void tst_RadioLink::cleanup()
{
    pLog = nullptr;
}

/// The log without its times, the port's path shortened.
Lines tst_RadioLink::LogTexts() const
{
    Lines lines;
    QFile file(log->Path());
    if (file.open(QIODevice::ReadOnly))
        while (!file.atEnd())
            lines.append(file.readLine().mid(24).trimmed().replace(Port().toUtf8(), "PORT"));
    return lines;
}

void tst_RadioLink::startUpAndResets()
{
    ModemEngine simulated({.uin = "000D6F00001733EB", .version = "302"});
    simulated.AddNode("000D6F0000001000", "COO:", std::make_unique<EchoNode>());
    simulated.AddNode("000D6F0000001001", "SED:", std::make_unique<EchoNode>());
    Desk desk(Port(), simulated);
    ZigBee modem(nullptr, Port(), true);

    QCOMPARE(VirtualTime::Delays(), (QList<unsigned int>{5000, 1000, 5000, 100, 100, 1000, 1000}));
    QCOMPARE(desk.written, (Lines{"0 atz\r\n", "5000 ati\r\n", "6000 atz\r\n", "11200 at+jn\r\n", "12200 at+en\r\n"}));
    QCOMPARE(modem.MainUIN, "000D6F00001733EB"_ba);
    QCOMPARE(modem.ModemVersion, 302);
    QCOMPARE(Table(modem), Lines{"000D6F00001733EB Main Device"});

    const Lines scanned{"000D6F00001733EB Main Device", "000D6F0000001000 COO:", "000D6F0000001001 SED:"};
    VirtualTime::Advance(500);
    desk.Act();
    modem.UpdateZNetwork();
    QCOMPARE(desk.written.last(), "13200 at+sn\r\n"_ba);
    QCOMPARE(Table(modem), scanned);

    modem.Reset();
    modem.Reset();
    QCOMPARE(Table(modem), Lines{"000D6F00001733EB Main Device"});
    VirtualTime::Advance(500);
    desk.Act();
    modem.UpdateZNetwork();
    QCOMPARE(Table(modem), scanned);
    QCOMPARE(VirtualTime::Delays().size(), 21);
}

void tst_RadioLink::identity_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QByteArray>("uin");
    QTest::addColumn<int>("version");

    const QByteArray uin = "000D6F00001733EB"_ba;
    QTest::addRow("whole answer") << "\r\nR123X\r\n000D6F00001733EB\r\nOK\r\n"_ba << uin << 123;
    QTest::addRow("noise before it") << "ati\r\r\nR123X\r\n000D6F00001733EB\r\nOK\r\n"_ba << uin << 123;
    QTest::addRow("version is no number") << "\r\nRabcX\r\n000D6F00001733EB\r\n"_ba << uin << 0;
    QTest::addRow("line ends inside the version") << "\r\nR\r\n1X\r\n000D6F00001733EB\r\n"_ba << uin << 1;
    QTest::addRow("cut address") << "\r\nR123X\r\n000D6F"_ba
                                 << "000D6F"_ba << 123;
    QTest::addRow("no version line: characters 8 to 23") << "\r\n456abc\r000D6F00001733EB\r\nOK\r\n"_ba
                                                         << "\r000D6F00001733E"_ba << 456;
    QTest::addRow("no version line, fixed places fit") << "\r\n456\r\nX000D6F00001733EB\r\n"_ba << uin << 456;
    QTest::addRow("lower-case r is no version line") << "\r\nr123X\r\n000D6F00001733EB"_ba
                                                     << "\n000D6F00001733E"_ba << 0;
    QTest::addRow("zero byte ends the text") << "\r\nR123X\r\n000D\0F00001733EB"_ba
                                             << "000D"_ba << 123;
    QTest::addRow("zero byte first") << "\0\r\nR123X\r\n000D6F00001733EB"_ba << QByteArray() << 0;
    QTest::addRow("behind the 80th byte") << QByteArray(62, 'x') + "\r\nR123X\r\n000D6F00001733EB\r\n"
                                          << "000D6F000"_ba << 123;
    QTest::addRow("silence") << QByteArray() << QByteArray() << 0;
}

void tst_RadioLink::identity()
{
    QFETCH(QByteArray, answer);
    CannedModem canned(answer);
    Desk desk(Port(), canned);
    ZigBee modem(nullptr, Port(), true);
    QTEST(modem.MainUIN, "uin");
    QTEST(modem.ModemVersion, "version");
    QCOMPARE(modem.Nodes()->UIN, modem.MainUIN);
}

void tst_RadioLink::frames_data()
{
    QTest::addColumn<std::function<void(ZigBee&)>>("send");
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char* name, const std::function<void(ZigBee&)>& send, const QByteArray& bytes) {
        QTest::addRow("%s", name) << send << bytes;
    };
    const auto unicast = [](const QByteArray& message) {
        return [message](ZigBee& modem) { modem.SendMessageToZDevice("000D6F0000001000", message); };
    };

    row("unicast: nothing", unicast({}), "at+ucastb:00,000D6F0000001000\r");
    row("unicast: line ends and zero in the payload", unicast("\0\r\n\xC0"_ba),
        "at+ucastb:04,000D6F0000001000\r\0\r\n\xC0"_ba);
    row("unicast: 16 bytes", unicast(QByteArray(16, 'x')), "at+ucastb:10,000D6F0000001000\r" + QByteArray(16, 'x'));
    row("unicast: 255 bytes", unicast(QByteArray(255, 'x')), "at+ucastb:ff,000D6F0000001000\r" + QByteArray(255, 'x'));
    row("unicast: 256 bytes are not split", unicast(QByteArray(256, 'x')),
        "at+ucastb:00,000D6F0000001000\r" + QByteArray(256, 'x'));
    row(
        "broadcast", [](ZigBee& modem) { modem.SendBroadcastMessageToZDevice("\xC0\x01\xC1"_ba); },
        "at+bcastb:03,00\r\xC0\x01\xC1"_ba);
    row(
        "announcement",
        [](ZigBee& modem) {
            QCOMPARE(modem.SendMainUIN(),
                "\xC0\x05"
                "000D6F00001733EB\xC1"_ba);
        },
        "at+bcastb:13,00\r\xC0\x05"
        "000D6F00001733EB\xC1"_ba);
    row(
        "raw", [](ZigBee& modem) { modem.WriteToPort("ATREMS:x,16=01f8\r\n"_ba); }, "ATREMS:x,16=01f8\r\n");
}

void tst_RadioLink::frames()
{
    QFETCH(std::function<void(ZigBee&)>, send);
    QFETCH(QByteArray, bytes);
    CannedModem canned("\r\nR123X\r\n000D6F00001733EB\r\nOK\r\n");
    Desk desk(Port(), canned);
    ZigBee modem(nullptr, Port(), true);
    QCOMPARE(desk.Heard(7), "at+sn\r\n"_ba);
    send(modem);
    QCOMPARE(desk.Heard(bytes.size()), bytes);
}

void tst_RadioLink::pollSignals()
{
    CannedModem canned;
    Desk desk(Port(), canned);
    ZigBee modem(nullptr, Port(), true);
    Lines heard;
    connect(&modem, &ZigBee::Received, this,
        [&](const QByteArray& data) { heard += "raw " + QByteArray::number(data.size()); });
    connect(&modem, &ZigBee::NewNode, this,
        [&](const QByteArray& uin) { heard += "new " + uin + ' ' + modem.SearchZDeviceFromUIN(uin).toUtf8(); });
    connect(&modem, &ZigBee::ReceivedUCAST, this,
        [&](const QByteArray& uin, const QByteArray& message) { heard += "unicast " + uin + ' ' + message; });
    connect(&modem, &ZigBee::ReceivedBCAST, this,
        [&](const QByteArray& uin, const QByteArray& message) { heard += "broadcast " + uin + ' ' + message; });
    connect(&modem, &ZigBee::ReceivedACK, this, [&](quint8 i) { heard += "ack " + QByteArray::number(i); });
    connect(&modem, &ZigBee::ReceivedNACK, this, [&](quint8 i) { heard += "nack " + QByteArray::number(i); });
    connect(&modem, &ZigBee::AcceptUCAST, this, [&](quint8 i) { heard += "accept " + QByteArray::number(i); });
    connect(&modem, &ZigBee::Error, this, [&](quint16 i) { heard += "error " + QByteArray::number(i); });

    modem.timer_event();
    desk.Say("\r\nERROR:1A\r\n+UCASTB:01\r\nACK:02\r\nNACK:03\r\nBCAST:000D6F0000001001=b\r\nUCAST:000D6F0000001000,02:"
             "\0u\r\n"
             "FFD:0000000000000000\r\n"_ba);
    modem.timer_event();
    modem.timer_event();
    QCOMPARE(heard,
        (Lines{"raw 119", "new 0000000000000000 none", "new 000D6F0000001000 NEWNODE",
            "unicast 000D6F0000001000 \0u"_ba, "new 000D6F0000001001 NEWNODE", "broadcast 000D6F0000001001 \0ub"_ba,
            "ack 2", "nack 3", "accept 1", "error 26"}));
    QCOMPARE(Table(modem), (Lines{" Main Device", "000D6F0000001000 NEWNODE", "000D6F0000001001 NEWNODE"}));
    QCOMPARE(modem.SearchZDeviceFromUIN(modem.MainUIN), u"none"_s);
}

// A receiver may let the event loop run, and the poll timer with it.
void tst_RadioLink::pollInsidePoll()
{
    CannedModem canned;
    Desk desk(Port(), canned);
    ZigBee modem(nullptr, Port(), true);
    Lines heard;
    connect(&modem, &ZigBee::NewNode, this, [&](const QByteArray& uin) {
        heard += uin;
        if (heard.size() == 1) {
            desk.Say("SED:000D6F0000001001\r\n");
            modem.timer_event();
        }
    });
    desk.Say("FFD:000D6F0000001000\r\nFFD:000D6F0000001001\r\n");
    modem.timer_event();
    QCOMPARE(heard, (Lines{"000D6F0000001000", "000D6F0000001001"}));
    QCOMPARE(Table(modem), (Lines{" Main Device", "000D6F0000001000 FFD:", "000D6F0000001001 SED:"}));
}

// The system hands out 4 KiB a read at most; a poll that stopped there would cut a line.
void tst_RadioLink::everythingAfterALongWait()
{
    CannedModem canned;
    Desk desk(Port(), canned);
    ZigBee modem(nullptr, Port(), true);
    desk.Say(QByteArray(4000, 'x'));
    const qsizetype sent = 4000 + desk.terminal.Write(QByteArray(4000, 'y'));
    ::poll(nullptr, 0, SilenceMs);
    QCOMPARE(modem.GetMessageFromModem().size(), sent);
}

void tst_RadioLink::portMissing()
{
    ZigBee modem(nullptr, Port(), true);
    modem.SendMainUIN();
    modem.timer_event();
    QCOMPARE(LogTexts(), Lines{"Cannot open the modem port PORT: No such file or directory"});
    QCOMPARE(Table(modem), Lines{" Main Device"});
}

void tst_RadioLink::portGoneAndBack()
{
    CannedModem canned("\r\nR123X\r\n000D6F00001733EB\r\nOK\r\n");
    auto desk = std::make_unique<Desk>(Port(), canned);
    ZigBee modem(nullptr, Port(), true);
    modem.SendBroadcastMessageToZDevice(QByteArray(60'000, 'x'));
    desk.reset();
    for (int i = 0; i < 3; ++i) {
        modem.SendMainUIN();
        modem.timer_event();
        QCoreApplication::processEvents();
    }
    const Lines gone{"The modem port PORT broke: the line was hung up",
        "Cannot open the modem port PORT: No such file or directory"};
    QCOMPARE(LogTexts(), gone);

    desk = std::make_unique<Desk>(Port(), canned);
    modem.timer_event();
    modem.SendMainUIN();
    QCOMPARE(desk->Heard(35),
        "at+bcastb:13,00\r\xC0\x05"
        "000D6F00001733EB\xC1"_ba);
    desk->Say("FFD:000D6F0000001000\r\n");
    modem.timer_event();
    QCOMPARE(Table(modem), (Lines{"000D6F00001733EB Main Device", "000D6F0000001000 FFD:"}));
    QCOMPARE(LogTexts(), gone + Lines{"The modem port PORT works again"});
}

void tst_RadioLink::nobodyDrains()
{
    CannedModem canned;
    Desk desk(Port(), canned);
    ZigBee modem(nullptr, Port(), true);
    QCOMPARE(desk.Heard(7), "at+sn\r\n"_ba);
    QByteArray sent;
    for (int i = 0; i < 200; ++i) {
        const QByteArray frame(1000, static_cast<char>('A' + i % 26));
        modem.WriteToPort(frame);
        sent += frame;
        QCoreApplication::processEvents();
    }
    QCOMPARE(LogTexts(), Lines{"The modem port PORT takes no more data, 1000 bytes dropped"});

    // Whole frames, in order, as many as were kept.
    QByteArray drained;
    for (qsizetype before = -1; before != drained.size();) {
        before = drained.size();
        drained += desk.Heard(1, SilenceMs);
        modem.timer_event();
        QCoreApplication::processEvents();
    }
    QVERIFY(drained.size() >= 65'000 && drained.size() < 150'000 && drained.size() % 1000 == 0);
    QCOMPARE(drained, sent.left(drained.size()));
}

QTEST_GUILESS_MAIN(tst_RadioLink)
#include "tst_radiolink.moc"
