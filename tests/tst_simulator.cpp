#include "echonode.h"
#include "virtualsubstation.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QByteArray operator""_hex(const char* digits, size_t size)
{
    return QByteArray::fromHex(QByteArray(digits, static_cast<qsizetype>(size)));
}

/// ms, and the bytes sent then.
using Script = QList<std::pair<int, QByteArray>>;

const QDateTime Begin(QDate(2014, 3, 4), QTime(8, 30)); // a Tuesday
const QByteArray Node = "000D6F0000001003";

RegisteredMeter Meter(const QByteArray& uin, const QByteArray& number, const QByteArray& model)
{
    return {uin, number, FindDialect(model), uin == "KTP"};
}

/// What `peer` writes while it is told `script`, each write with its time in ms.
QByteArrayList Play(LinePeer& peer, const Script& script)
{
    QByteArrayList written;
    const auto takeUntil = [&](Moment now) {
        for (std::optional<Moment> due; (due = peer.NextDue()) && *due <= now;)
            if (const QByteArray bytes = peer.Take(*due); !bytes.isEmpty())
                written += QByteArray::number(due->count() / 1000) + ' ' + bytes;
    };
    for (const auto& [ms, bytes] : script) {
        takeUntil(std::chrono::milliseconds(ms));
        peer.Receive(bytes, std::chrono::milliseconds(ms));
    }
    takeUntil(std::chrono::hours(24));
    return written;
}

} // namespace

class tst_Simulator : public QObject {
    Q_OBJECT

private slots:
    void modem()
    {
        const auto check = [](const QByteArray& input, const QByteArray& output) {
            ModemEngine modem({.baud = 0});
            modem.AddNode(Node, "FFD:", std::make_unique<EchoNode>());
            Script script;
            for (const char byte : input)
                script += {0, QByteArray(1, byte)};
            QCOMPARE(Play(modem, script).join(), output);
        };
        check("atz\r\nati\r\n", "500 \r\nOK\r\n"); // deaf while it restarts
        check("at+ucastb:02,000D6F0000009999\rhi", "20 \r\n+UCASTB:00\r\n20 \r\nOK\r\n170 \r\nNACK:00\r\n");
        check("at+ucastb:06,000D6F0000001003\r\0atz\r\n"_ba,
            "20 \r\n+UCASTB:00\r\n20 \r\nOK\r\n170 \r\nACK:00\r\n370 \r\nUCAST:000D6F0000001003,06=\0atz\r\n\r\n"_ba);
        check("at+bcastb:49,00\r" + QByteArray(73, 'r'),
            "20 \r\nOK\r\n370 \r\nUCAST:000D6F0000001003,48=" + QByteArray(72, 'r')
                + "\r\n370 \r\nUCAST:000D6F0000001003,01=r\r\n");
        check("ATREMS:000D6F0000001003,16=01f8\r\n", "170 \r\nOK\r\n");
        check("at+ucastb:00,000D6F\r", "20 \r\nERROR:05\r\n");
    }

    void modemFails()
    {
        const QByteArray hi = "at+ucastb:02,000D6F0000001003\rhi";
        const QByteArray stranger = "at+ucastb:02,000D6F0000009999\rhi";
        const QByteArray all = "at+bcastb:02,00\rhi";
        const auto check = [](const AirTraits& air, const ModemFaultTraits& faults, const Script& script,
                               const QByteArrayList& expected) {
            ModemEngine modem({.baud = 0, .air = air, .faults = faults});
            modem.AddNode(Node, "FFD:", std::make_unique<EchoNode>());
            QByteArrayList written;
            for (const QByteArray& bytes : Play(modem, script))
                written += bytes.simplified();
            QCOMPARE(written, expected);
        };
        const QByteArray echo = " UCAST:000D6F0000001003,02=hi";
        const QList<Moment> second{std::chrono::seconds(1)};

        check({.mostOnTheirWay = 2}, {}, {{0, hi}, {10, hi}, {20, hi}, {900, hi}},
            {"20 +UCASTB:00", "20 OK", "30 +UCASTB:01", "30 OK", "40 ERROR:07", "170 ACK:00", "180 ACK:01",
                "370" + echo, "380" + echo, "920 +UCASTB:02", "920 OK", "1070 ACK:02", "1270" + echo});
        check({.mostOnTheirWay = 1, .reportLoss = 1}, {}, {{0, hi}, {100, hi}, {200, stranger}},
            {"20 +UCASTB:00", "20 OK", "120 ERROR:07", "220 +UCASTB:01", "220 OK", "370" + echo});
        check({.reportLate = 1, .reportDelay = std::chrono::seconds(3)}, {}, {{0, hi}},
            {"20 +UCASTB:00", "20 OK", "370" + echo, "3170 ACK:00"});
        check({.nackTime = std::chrono::seconds(4)}, {}, {{0, stranger}, {5'000, hi}},
            {"20 +UCASTB:00", "20 OK", "4020 NACK:00", "5020 +UCASTB:01", "5020 OK", "5170 ACK:01", "5370" + echo});

        check({.reportLate = 1, .reportDelay = std::chrono::seconds(3)}, {.powerCuts = second}, {{700, hi}},
            {"720 +UCASTB:00", "720 OK"}); // forgotten, also when it works again

        const Script afterwards{{2'000, hi}, {3'000, "at+en\r"}, {3'100, all}, {3'500, "at+jn\r"}, {3'600, "at+sn\r"},
            {4'000, "at+en\r"}, {4'500, all}, {5'000, hi}};
        const QByteArrayList restored{"2020 ERROR:08", "3020 OK", "3120 OK", "3520 OK", "3620 OK", "4020 OK", "4520 OK",
            "4870" + echo, "5020 +UCASTB:00", "5020 OK", "5170 ACK:00", "5370" + echo};
        check({.mostOnTheirWay = 1}, {.powerCuts = second},
            Script{{700, hi}, {950, hi}, {990, "at+ucastb:02"}, {1'200, "ati\r"}} + afterwards,
            QByteArrayList{"720 +UCASTB:00", "720 OK", "870 ACK:00", "970 +UCASTB:01", "970 OK"} + restored);
        check({.mostOnTheirWay = 1}, {.deaf = second},
            Script{{850, hi}, {1'100, "ati\r"}, {1'200, hi}, {1'300, "atz\r"}} + afterwards,
            QByteArrayList{"870 +UCASTB:00", "870 OK", "1800 OK"} + restored);
    }

    void hops()
    {
        ModemEngine modem({.baud = 0, .air = {.mostHops = 5, .hops = {{"000D6F0000000100", 3}}}});
        Script script;
        for (int i = 0; i < 200; ++i) {
            const QByteArray uin = "000D6F0000000" + QByteArray::number(i < 100 ? 100 : 100 + i);
            modem.AddNode(uin, "FFD:", std::make_unique<EchoNode>());
            script += {i * 1'000, "at+ucastb:02," + uin + "\rhi"};
        }
        QList<int> reports, answers;
        for (const QByteArray& bytes : Play(modem, script)) {
            const int ms = bytes.left(bytes.indexOf(' ')).toInt() % 1'000;
            if (bytes.contains("\r\nACK:"))
                reports += ms - 20;
            else if (bytes.contains("\r\nUCAST:"))
                answers += ms - 20 - 200;
        }
        for (const QList<int>& ways : {reports, answers}) {
            QCOMPARE(ways.size(), 200);
            const auto [nearest, farthest] = std::minmax_element(ways.begin(), ways.begin() + 100); // three hops each
            QVERIFY(*nearest >= 120 && *nearest < 190 && *farthest <= 360 && *farthest > 290);
            const auto [least, most] = std::minmax_element(ways.begin() + 100, ways.end()); // one to five
            QVERIFY(*least >= 40 && *least < 80 && *most <= 600 && *most > 450);
        }
    }

    // What the report says of a last answer, and whether the daemon got it. The modem fails at 5 s.
    void passage()
    {
        const auto check = [](const QByteArray& scenario, int readOut, const QByteArray& reported) {
            QString error;
            const auto parsed = ParseScenario("[all]\n" + scenario, {}, error);
            QVERIFY2(parsed, qPrintable(error));
            QByteArray last;
            AnswerReport account([&](const QByteArray& line) { last = line; });
            VirtualSubstation substation({Meter(Node, "1003", "SET1")}, *parsed, Begin, account);
            const QByteArray unicast = "at+ucastb:03,000D6F0000001003\r";
            const QByteArray written =
                Play(substation.Modem(), {{0, unicast + "c001c1"_hex}, {readOut, unicast + "c002c1"_hex}}).join();
            QCOMPARE(last.mid(17, 6) + last.mid(last.lastIndexOf(',')), reported);
            QCOMPARE(written.contains("\nUCAST:"), reported.endsWith("yes"));
        };
        const QByteArray cut = "power-cut = 2014-03-04 08:30:05";
        const QByteArray deaf = "deaf = 2014-03-04 08:30:05";
        check("", 4'600, "04.987,yes");
        check("loss = 1", 4'600, "04.987,no");
        check(deaf, 4'600, "05.011,yes"); // it was on the line
        check(deaf, 4'700, "05.087,deaf");
        check(cut, 4'600, "05.011,away");
        check(cut, 4'700, "05.087,away");
        check(cut + "\n[node 000D6F0000001003]\nalarm = 2014-03-04 09:00:00", 4'700, "00.000,away"); // no network
    }

    void modemFailsAtRandom()
    {
        const auto day = [](quint32 seed) {
            const ModemFaultTraits eachMinute{
                .powerCutEvery = std::chrono::minutes(1), .deafEvery = std::chrono::minutes(1)};
            ModemEngine modem({.seed = seed, .faults = eachMinute});
            (void)Play(modem, {});
            return std::pair(modem.Tally().powerCuts, modem.Tally().timesDeaf);
        };
        const auto [cuts, deaf] = day(7);
        QVERIFY(cuts > 1'300 && cuts < 1'580 && deaf > 640 && deaf < 800); // every other time it was deaf already
        QVERIFY(day(7) == std::pair(cuts, deaf) && day(8) != std::pair(cuts, deaf));
    }

    void sameSeedSameFaults()
    {
        const auto session = [](quint32 seed) {
            ModemEngine modem({.seed = seed, .nack = 0.5, .loss = 0.5, .garbage = 0.3, .fragmentation = 0.3});
            modem.AddNode(Node, "FFD:", std::make_unique<EchoNode>());
            Script script;
            for (int i = 0; i < 1000; ++i)
                script += {i * 10'000, "at+ucastb:02,000D6F0000001003\rhi"};
            return Play(modem, script);
        };
        const QByteArrayList written = session(7);
        QCOMPARE(session(7), written);
        QVERIFY(session(8) != written);
        QVERIFY(written.size() > 4000); // three each, 250 answers, and some in two parts
        const qsizetype refused = written.join().count("NACK");
        const qsizetype answers = written.join().count("\nUCAST");
        QVERIFY(refused > 400 && refused < 600 && answers > 200 && answers < 300);
    }

    void meters()
    {
        const auto check = [](const RegisteredMeter& meter, const Script& frames, const QByteArray& expected) {
            AnswerReport report;
            MeterNode node(meter, {}, {.begin = Begin}, report);
            QByteArray answers;
            for (const auto& [ms, frame] : frames + Script{{20'000, "c002c1"_hex}})
                for (const NodeAnswer& answer : node.Receive(frame, std::chrono::milliseconds(ms)))
                    answers += answer.payload;
            QCOMPARE(answers.toHex(), expected);
        };
        const auto ce301 = Meter("000D6F0000001002", "1002", "CE301");
        const auto set1 = Meter(Node, "1003", "SET1");
        const auto set3 = Meter("000D6F0000001004", "70000", "SET3");
        const QByteArray measure = "c001c1"_hex;
        check(Meter("000D6F0000001001", "1001", "CE102"), {{0, measure}}, "c07de048e903010054013055010100637de0c1");
        check(set1, {{0, measure}, {1, "c0ffc1"_hex}, {2, "c002c1"_hex}}, "c082153763004a550012370013630008c1"); // once
        check(set3, {{0, "04701101101727"_hex}}, ""); // wrong check
        check(set3, {{0, measure}, {0, "04711101106192"_hex}}, ""); // another meter's
        check(ce301, {{0, "\x04\x01W1\x02TIME_(23:59:50)\x03\x18"}, {15'000, "040152310254494d455f28290367"_hex}},
            "c00254494d455f2830303a30303a303529037bc1");
        check(
            set1, {{0, "c00835303037323330363038303332303134c1"_hex}, {20'000, "0450"_hex}}, "c0825010082306080314c1");
        check(set1, {{0, "c00835303037323330373038303332303134c1"_hex}, {0, "0450"_hex}},
            "c0825000300802040314c1"); // Sunday
    }

    // Twice: measure, and 5 s later read-out.
    void faults()
    {
        const auto check = [](const QByteArray& scenario, const QByteArrayList& expected,
                               const QByteArrayList& report) {
            QString error;
            Scenario defaults;
            defaults.modem.baud = 0;
            const auto parsed = ParseScenario("[node 000D6F0000001003]\n" + scenario, defaults, error);
            QVERIFY2(parsed, qPrintable(error));
            QByteArrayList reported;
            AnswerReport account([&](const QByteArray& line) { reported += line.mid(line.indexOf("SET1") + 4); });
            VirtualSubstation substation({Meter(Node, "1003", "SET1")}, *parsed, Begin, account);
            Script script;
            for (const auto& [ms, frame] :
                Script{{0, "c001c1"_hex}, {5'000, "c002c1"_hex}, {10'000, "c001c1"_hex}, {15'000, "c002c1"_hex}})
                script += {ms, "at+ucastb:03,000D6F0000001003\r" + frame};
            QByteArrayList written;
            for (const QByteArray& line : Play(substation.Modem(), script)) {
                const qsizetype ms = line.indexOf(' ') + 1;
                const qsizetype payload = line.indexOf('=') + 1;
                if (line.contains("\r\nUCAST:000D6F0000001003,"))
                    written += line.left(ms) + line.mid(payload - 3, 3) + line.mid(payload).chopped(2).toHex();
                else if (line.contains("NACK"))
                    written += line.left(ms) + line.mid(ms).trimmed();
            }
            QCOMPARE(written, expected);
            QCOMPARE(reported.mid(1), report);
        };
        const QByteArray first = ",energy,866.94 253.99 218.34 140.98 253.63,,yes";
        const QByteArray second = ",energy,866.95 253.99 218.34 140.99 253.63,";
        const QByteArray good = second + ",yes";
        const QByteArray answer = "c082153763004a550013370013630007c1";

        check("", {"5370 11=c082153763004a550012370013630008c1", "15370 11=" + answer}, {first, good});
        check("late = 7000\nevery=2", {"22370 11=" + answer}, {good});
        for (const auto& [flaw, sent] : {std::pair("checksum", "15370 11=c082153763004a550013370013630006c1"),
                 std::pair("half", "15370 09=c082153763004a55c1"),
                 std::pair("garbage", "15370 11=c0b40af014254a045e97b7dee2ed89cfc1")})
            check("undecodable = "_ba + flaw + "\nevery=2", {sent}, {second + flaw + ",yes"});
        check("pieces = 3\nevery=2", {"15370 06=c08215376300", "16070 06=4a5500133700", "16770 05=13630007c1"}, {good});
        check("glued = yes\nevery=2", {"15370 22=" + answer + answer}, {good, good});
        check("nack = 1", {"170 NACK:00", "5170 NACK:01", "10170 NACK:02", "15170 NACK:03"}, {});
        check("every=2\n[all]\nloss = 1", {}, {second + ",no"});
        check("silent=yes\nalarm = 2014-03-04 08:30:05", {"5000 05=c0823535c1"}, {",alarm,,,yes"});
    }

    void localLine()
    {
        const auto check = [](const QByteArray& model, const QByteArray& scenario, const Script& script,
                               const QByteArrayList& written) {
            QString error;
            const auto parsed = ParseScenario("[substation]\n" + scenario, {}, error);
            QVERIFY2(parsed, qPrintable(error));
            AnswerReport report;
            VirtualSubstation substation({Meter("KTP", "70000", model)}, *parsed, Begin, report);
            QCOMPARE(Play(*substation.LocalLine(), script), written);
        };
        const QByteArray signOn = "\x05/?!\r\n\x06\x30\x36\x31\r\n";
        const QByteArray password = "\x01P1\x02(246810)\x03\x0C";
        const QByteArray read = "\x01R1\x02\x45T0PE()\x03\x37\r\n";
        check("CE301", "", {{0, signOn + password}, {100, signOn}, {800, password}, {1'200, read}},
            {"1435 \2ET0PE(1232.16)ET0PE(348.71)ET0PE(207.38)ET0PE(204.58)ET0PE(471.49)\3\x1A"});
        check("CE301", "", {{0, signOn}, {400, read}}, {}); // no password

        const QByteArray ask = "701101120022b4"_hex;
        check("SET3", "drift = 100000", {{20'000, "701101101726"_hex}}, {"20254 " + "7011011022300802040314832c"_hex});
        check("SET3", "silent = yes", {{0, ask}}, {});
        check("SET3", "unanswered = 1", {{0, ask}, {5'000, "ff007070"_hex}, {5'400, "1101120022b4"_hex}},
            {"5691 " + "701101123788000002510000eb4f00002db8000038b6"_hex});
    }

    void scenarios()
    {
        QString error;
        QVERIFY2(ReadScenario(QStringLiteral(QT_TESTCASE_SOURCEDIR "/../share/scenario.ini.example"), {}, error),
            qPrintable(error));
        for (const QByteArray& wrong :
            {"loss = 0.5"_ba, "[nodes]"_ba, "[node 12]"_ba, "[all]\nsilent = yes"_ba, "[all]\nloss = 1.01"_ba,
                "[all]\nseed = -1"_ba, "[all]\ndrift = inf"_ba, "[all]\nlatency"_ba, "[substation]\nsilent = 1"_ba,
                "[node 000D6F0000001003]\nevery = 0"_ba, "[all]\nhops = 6"_ba, "[node 000D6F0000001003]\nhops = 0"_ba,
                "[node 000D6F0000001003]\nundecodable = no"_ba, "[node 000D6F0000001003]\nalarm = 2014-03-04"_ba}) {
            QVERIFY2(!ParseScenario("# a play\n\n" + wrong, {}, error), wrong.constData());
            const QByteArrayList lines = wrong.split('\n');
            QCOMPARE(error.toUtf8(),
                "line " + QByteArray::number(lines.size() + 2) + " of the scenario is not understood: " + lines.last());
        }
    }

    void registerInDatabase()
    {
        const QTemporaryDir directory;
        auto base = QSqlDatabase::addDatabase(u"QSQLITE"_s);
        base.setDatabaseName(directory.filePath(u"a.db"_s));
        QVERIFY(base.open());
        QCOMPARE(
            QSqlQuery(u"CREATE TABLE \"Counters\" AS SELECT 1 AS global_id, 'КТП' AS \"UIN\", 70000 AS \"Number\", "
                      "'SET3' AS \"Model\", 1 AS \"Type\", '' AS \"KI_Number\""_s)
                .lastError()
                .text(),
            QString());
        QString error;
        const auto meters = ReadRegister(base.databaseName(), error);
        QVERIFY2(meters && meters->size() == 1, qPrintable(error));
        const RegisteredMeter& meter = meters->first();
        QCOMPARE(meter.uin + ' ' + meter.number + ' ' + meter.dialect->model.toByteArray(), "КТП 70000 SET3");
        QVERIFY(meter.onLocalLine);
    }
};

QTEST_GUILESS_MAIN(tst_Simulator)
#include "tst_simulator.moc"
