#include "echonode.h"
#include "modemengine.h"
#include "traffic.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using Lines = QList<QByteArray>;

namespace {

constexpr auto Near = "000D6F0000001000";

/// What `peer` writes until it has nothing more to do, each write with its time in ms.
Lines Session(LinePeer& peer)
{
    Lines lines;
    for (std::optional<Moment> due; (due = peer.NextDue());) {
        const QByteArray bytes = peer.Take(*due);
        if (!bytes.isEmpty())
            lines.append(QByteArray::number(due->count() / 1000) + ' ' + bytes);
    }
    return lines;
}

ModemTraits Fast()
{
    return {.baud = 0};
}

} // namespace

class tst_Simulator : public QObject {
    Q_OBJECT

private slots:
    void commands_data();
    void commands();
    void sendNumbersRunAndRestart();
    void joinIsAnnounced();
    void lineRate();
    void sameSeedSameSession();
    void airIsHostile();
    void hostileInput();
    void trafficLine_data();
    void trafficLine();
    void trafficRefused();
    void replay();
};

void tst_Simulator::commands_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<Lines>("output");
    const auto row = [](const char* name, const QByteArray& input, const Lines& output) {
        QTest::addRow("%s", name) << input << output;
    };

    row("reset answers when it is up", "atz\r\n", {"500 \r\nOK\r\n"});
    row("deaf while it restarts", "atz\r\nati\r\nat+sn\r\n", {"500 \r\nOK\r\n"});
    row("identity", "ati\r\n", {"20 \r\nR123X\r\n000D6F0000000001\r\nOK\r\n"});
    row("join and establish", "at+jn\r\nat+en\r\n", {"20 \r\nOK\r\n", "20 \r\nOK\r\n"});
    row("upper case, no line feed", "AT+SN\r", {"20 \r\nOK\r\n", "70 \r\nFFD:000D6F0000001000\r\n"});
    row("unicast to nobody", "at+ucastb:02,000D6F0000009999\rhi",
        {"20 \r\n+UCASTB:00\r\n", "20 \r\nOK\r\n", "170 \r\nNACK:00\r\n"});
    row("payload is counted, not read", "at+bcastb:08,00\ratz\r\nati\rat+jn\r\n",
        {"20 \r\nOK\r\n", "20 \r\nOK\r\n", "370 \r\nUCAST:000D6F0000001000,08=atz\r\nati\r\n"});
    row("unicast with zero and line end in it", "at+ucastb:04,000D6F0000001000\r\0\r\n\xC0"_ba,
        {"20 \r\n+UCASTB:00\r\n", "20 \r\nOK\r\n", "170 \r\nACK:00\r\n",
            "370 \r\nUCAST:000D6F0000001000,04=\0\r\n\xC0\r\n"_ba});
    row("long answer comes in pieces", "at+bcastb:64,00\r" + QByteArray(100, 'r'),
        {"20 \r\nOK\r\n", "370 \r\nUCAST:000D6F0000001000,48=" + QByteArray(72, 'r') + "\r\n",
            "370 \r\nUCAST:000D6F0000001000,1C=" + QByteArray(28, 'r') + "\r\n"});
    row("payload not yet whole", "at+bcastb:08,00\rabc", {});
    row("remote register", "ATREMS:000D6F0000001000,16=01f8\r\n", {"170 \r\nOK\r\n"});
    row("remote register of nobody", "ATREMS:000D6F0000009999,16=01f8\r\n", {"170 \r\nERROR:01\r\n"});
    row("unknown command", "at+xx\r\n", {"20 \r\nERROR:02\r\n"});
    row("length is no number", "at+ucastb:zz,000D6F0000001000\r", {"20 \r\nERROR:05\r\n"});
    row("address too short", "at+ucastb:00,000D6F\r", {"20 \r\nERROR:05\r\n"});
    row("endless line", QByteArray(257, 'x'), {"20 \r\nERROR:02\r\n"});
    row("empty lines", "\r\n\r\n", {});
}

void tst_Simulator::commands()
{
    QFETCH(QByteArray, input);
    ModemEngine modem(Fast());
    modem.AddNode(Near, "FFD:", std::make_unique<EchoNode>());
    for (const char byte : input)
        modem.Receive(QByteArray(1, byte), 0ms);
    QTEST(Session(modem), "output");
}

void tst_Simulator::sendNumbersRunAndRestart()
{
    ModemEngine modem(Fast());
    Lines numbers;
    for (int i = 0; i < 102; ++i) {
        if (i == 101) {
            modem.Receive("atz\r", i * 1s);
            (void)Session(modem);
        }
        modem.Receive("at+ucastb:00,000D6F0000001000\r", i * 1s + 600ms);
        numbers.append(Session(modem).first().right(4));
    }
    QCOMPARE(numbers.mid(98), (Lines{"98\r\n", "99\r\n", "00\r\n", "00\r\n"}));
}

void tst_Simulator::joinIsAnnounced()
{
    ModemEngine modem(Fast());
    modem.JoinNode(Near, "SED:", std::make_unique<EchoNode>(), 5s);
    modem.Receive("at+sn\r\n", 0ms);
    QCOMPARE(Session(modem), (Lines{"20 \r\nOK\r\n", "5000 \r\nNEWNODE: 000D6F0000001000\r\n"}));
    modem.Receive("at+sn\r\n", 6000ms);
    QCOMPARE(Session(modem).last(), "6070 \r\nSED:000D6F0000001000\r\n"_ba);
}

// 7 bytes in take 3.6 ms, 6 bytes out 3.1 ms, 24 bytes 12.5 ms: ten bits a byte.
void tst_Simulator::lineRate()
{
    ModemEngine modem({.scanInterval = 0ms});
    for (const char* const uin : {"000D6F0000001000", "000D6F0000001001", "000D6F0000001002"})
        modem.AddNode(uin, "FFD:", std::make_unique<EchoNode>());
    modem.Receive("at+sn\r\n", 0ms);
    QCOMPARE(Session(modem),
        (Lines{"26 \r\nOK\r\n", "38 \r\nFFD:000D6F0000001000\r\n", "51 \r\nFFD:000D6F0000001001\r\n",
            "63 \r\nFFD:000D6F0000001002\r\n"}));
}

void tst_Simulator::sameSeedSameSession()
{
    const auto session = [](quint32 seed) {
        ModemEngine modem({.seed = seed, .nack = 0.3, .loss = 0.3, .garbage = 0.3, .fragmentation = 0.3});
        modem.AddNode(Near, "FFD:", std::make_unique<EchoNode>());
        Lines lines;
        for (int i = 0; i < 20; ++i) {
            modem.Receive("at+ucastb:02,000D6F0000001000\rhi", i * 10s);
            lines += Session(modem);
        }
        return lines;
    };
    QCOMPARE(session(7), session(7));
    QVERIFY(session(7) != session(8));
}

void tst_Simulator::airIsHostile()
{
    ModemEngine modem({.nack = 0.5, .loss = 0.5, .fragmentation = 1, .fragmentPause = 700ms});
    modem.AddNode(Near, "FFD:", std::make_unique<EchoNode>());
    Moment now{0};
    for (int i = 0; i < 1000; ++i, now += 10s) {
        modem.Receive("at+ucastb:02,000D6F0000001000\rhi", now);
        const Lines lines = Session(modem);
        QVERIFY(lines.size() >= 6 && lines.size() % 2 == 0);
    }
    const ModemTally& tally = modem.Tally();
    QCOMPARE(tally.unicastsDelivered + tally.unicastsNotDelivered, 1000);
    QVERIFY(tally.unicastsDelivered > 400 && tally.unicastsDelivered < 600);
    QCOMPARE(tally.answersPassedOn + tally.messagesLost, tally.unicastsDelivered);
    QVERIFY(tally.messagesLost > 200 && tally.messagesLost < 300);
}

void tst_Simulator::hostileInput()
{
    ModemEngine modem(Fast());
    std::mt19937 random(1);
    QByteArray noise(200'000, Qt::Uninitialized);
    for (char& byte : noise)
        byte = "at+ucastbz:,0F\r\n\xC0"[random() % 17];
    modem.Receive(noise, 0ms);
    for (const QByteArray& line : Session(modem))
        QVERIFY2(line.endsWith("\r\nOK\r\n") || line.contains("ERROR:0"), line.constData());
    QVERIFY(modem.Tally().linesRefused > 1000);
}

void tst_Simulator::trafficLine_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("text");

    QTest::addRow("command") << "at+sn\r\n"_ba
                             << R"(at+sn\r\n)"_ba;
    QTest::addRow("raw bytes") << "\0\xC0\x7F~"_ba
                               << R"(\x00\xc0\x7f~)"_ba;
    QTest::addRow("backslashes") << R"(\x41\)"_ba
                                 << R"(\\x41\\)"_ba;
    QTest::addRow("blanks inside, at the begin and at the end") << " a b  "_ba
                                                                << R"( a b \x20)"_ba;
    QTest::addRow("nothing") << ""_ba
                             << ""_ba;
}

void tst_Simulator::trafficLine()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, text);
    const QDateTime time(QDate(2014, 3, 4), QTime(8, 29, 30, 7));
    QCOMPARE(FormatTraffic({time, TrafficLine::Speaker::Modem, bytes}), "2014-03-04T08:29:30.007 modem " + text);
    const auto parsed = ParseTraffic("2014-03-04T08:29:30.007 daemon " + text);
    QVERIFY(parsed);
    QCOMPARE(parsed->time, time);
    QVERIFY(parsed->speaker == TrafficLine::Speaker::Daemon);
    QCOMPARE(parsed->bytes, bytes);
}

void tst_Simulator::trafficRefused()
{
    for (const auto* const text : {"modem OK", "2014-02-30T08:29:30.007 modem OK", "2014-03-04T08:29:30.007 OK",
             R"(2014-03-04T08:29:30.007 modem \t)", R"(2014-03-04T08:29:30.007 modem \x4)",
             R"(2014-03-04T08:29:30.007 modem \)"})
        QVERIFY2(!ParseTraffic(text), text);
}

void tst_Simulator::replay()
{
    const auto at = [](int ms, TrafficLine::Speaker speaker, const QByteArray& bytes) {
        return TrafficLine{QDateTime(QDate(2014, 3, 4), QTime(8, 0)).addMSecs(ms), speaker, bytes};
    };
    constexpr auto Daemon = TrafficLine::Speaker::Daemon;
    constexpr auto Modem = TrafficLine::Speaker::Modem;
    const QList<TrafficLine> recording{at(0, Daemon, "atz\r\n"), at(500, Modem, "OK"), at(600, Daemon, "x"),
        at(70'000, Modem, "NACK:01"), at(70'000, Modem, "\r\n")};

    Replay afterTheDaemon(recording);
    QVERIFY(!afterTheDaemon.NextDue());
    afterTheDaemon.Receive("anything", 3s);
    QVERIFY(afterTheDaemon.Take(3499ms).isEmpty());
    QCOMPARE(Session(afterTheDaemon), (Lines{"3500 OK", "73000 NACK:01", "73000 \r\n"}));

    Replay atOnce(recording.mid(3));
    QCOMPARE(Session(atOnce), (Lines{"0 NACK:01", "0 \r\n"}));
}

QTEST_GUILESS_MAIN(tst_Simulator)
#include "tst_simulator.moc"
