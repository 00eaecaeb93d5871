#include "virtualsubstation.h"

#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

namespace {

QByteArray operator""_hex(const char* digits, size_t size)
{
    return QByteArray::fromHex(QByteArray(digits, static_cast<qsizetype>(size)));
}

/// ms, and the bytes sent then.
using Script = QList<std::pair<int, QByteArray>>;

QDateTime Begin()
{
    return {QDate(2014, 3, 4), QTime(8, 30)}; // a Tuesday
}

RegisteredMeter Meter(const QByteArray& uin, const QByteArray& number, const QByteArray& model)
{
    return {uin, number, FindDialect(model), uin == "KTP"};
}

/// What `peer` writes while it is told `script`: "ms hex".
QByteArrayList Play(LinePeer& peer, const Script& script)
{
    QByteArrayList written;
    const auto takeUntil = [&](Moment now) {
        for (std::optional<Moment> due; (due = peer.NextDue()) && *due <= now;)
            if (const QByteArray bytes = peer.Take(*due); !bytes.isEmpty())
                written += QByteArray::number(due->count() / 1000) + ' ' + bytes.toHex();
    };
    for (const auto& [ms, bytes] : script) {
        takeUntil(milliseconds(ms));
        peer.Receive(bytes, milliseconds(ms));
    }
    takeUntil(std::chrono::hours(1));
    return written;
}

void SetTimeZone(const QByteArray& zone)
{
    qputenv("TZ", zone);
    ::tzset();
}

/// The meters of a register, or why it is refused.
QByteArray Outcome(const QString& path)
{
    QString error;
    const auto meters = ReadRegister(path, error);
    if (!meters)
        return error.replace(path, u"FILE"_s).toUtf8();
    QByteArrayList texts;
    for (const RegisteredMeter& meter : *meters)
        texts += QByteArrayList{meter.uin, meter.number, meter.dialect->model.toByteArray(),
            meter.onLocalLine ? "line"_ba : "node"_ba}
                     .join(' ');
    return texts.join("; ");
}

constexpr auto Answer = "c082153763004a550012370013630008c1"; // SET1 1003 at 08:30:00
constexpr auto LaterAnswer = "c082153763004a550013370013630007c1"; // and at 08:30:10, 08:30:20

} // namespace

class tst_Substation : public QObject {
    Q_OBJECT

private slots:
    void init() { SetTimeZone("UTC"); }
    void energy_data();
    void energy();
    void energyNeverFalls();
    void clock_data();
    void clock();
    void commands_data();
    void commands();
    void numbersAndCollector();
    void faults_data();
    void faults();
    void wholeIsWhole();
    void localLine_data();
    void localLine();
    void scenarioErrors_data();
    void scenarioErrors();
    void registers_data();
    void registers();
    void registerInDatabase();
};

void tst_Substation::energy_data()
{
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<QByteArray>("kWh");

    const auto row = [](const char* name, const QDateTime& now, const QByteArray& kWh) {
        QTest::addRow("%s", name) << now << kWh;
    };
    row("before the meter was installed", {{2013, 6, 1}, {0, 0}}, "181.82 38.92 57.21 52.86 32.83");
    row("morning", {{2014, 3, 4}, {8, 30}}, "564.59 137.42 134.44 110.56 182.17");
    row("the day moves tariffs 3 and 1", {{2014, 3, 4}, {17, 0}}, "566.59 139.01 134.44 110.97 182.17");
    row("the evening moves tariff 4", {{2014, 3, 4}, {23, 0}}, "569.00 139.01 134.44 110.97 184.58");
    row("the night moves tariff 2", {{2014, 3, 5}, {6, 0}}, "569.97 139.01 135.41 110.97 184.58");
}

void tst_Substation::energy()
{
    QFETCH(QDateTime, now);
    const MeterDialect& dialect = *FindDialect("SET3");
    QTEST(EnergyText(dialect, VirtualMeter(7, Begin(), 0).EnergyAt(now)), "kWh");
    QTEST(EnergyText(dialect, VirtualMeter(7, now, 500).EnergyAt(now)), "kWh");
}

void tst_Substation::energyNeverFalls()
{
    SetTimeZone("Europe/Berlin");
    const VirtualMeter meter(7, Begin(), 0);
    for (const QDate date : {QDate(2014, 3, 30), QDate(2014, 10, 26)}) {
        QDateTime now = date.startOfDay();
        for (MeterAnswers::Tariffs before = meter.EnergyAt(now); now.date() == date; now = now.addSecs(60)) {
            const MeterAnswers::Tariffs tariffs = meter.EnergyAt(now);
            for (size_t i = 0; i < tariffs.size(); ++i)
                QVERIFY(tariffs.at(i) - before.at(i) <= 1);
            before = tariffs;
        }
    }
}

void tst_Substation::clock_data()
{
    QTest::addColumn<double>("driftPpm");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<QByteArray>("unset");
    QTest::addColumn<QByteArray>("set");

    // Begins at 08:30, or is set to 12:00 at 08:30:50.
    QTest::addRow("exact") << 0.0 << 10'000 << "2014-03-04 11:16:40"_ba
                           << "2014-03-04 14:45:50"_ba;
    QTest::addRow("gains") << 20'000.0 << 100 << "2014-03-04 08:31:42"_ba
                           << "2014-03-04 12:00:51"_ba;
    QTest::addRow("loses") << -500.0 << 10'000 << "2014-03-04 11:16:35"_ba
                           << "2014-03-04 14:45:45"_ba;
    QTest::addRow("knows no summer time") << 0.0 << 30 * 86'400 << "2014-04-03 08:30:00"_ba
                                          << "2014-04-03 11:59:10"_ba;
}

void tst_Substation::clock()
{
    QFETCH(double, driftPpm);
    QFETCH(int, seconds);
    SetTimeZone("Europe/Berlin");
    const QDateTime begin = Begin();
    VirtualMeter meter(7, begin, driftPpm);
    const auto shown = [&] {
        return meter.ClockAt(begin.addSecs(seconds)).toString(u"yyyy-MM-dd HH:mm:ss"_s).toLatin1();
    };
    QTEST(shown(), "unset");
    meter.SetClock({QDate(2014, 3, 4), QTime(12, 0)}, begin.addSecs(50));
    QTEST(shown(), "set");
}

void tst_Substation::commands_data()
{
    QTest::addColumn<QByteArray>("model");
    QTest::addColumn<Script>("frames");
    QTest::addColumn<QByteArrayList>("answers");

    const auto row = [](const char* name, const QByteArray& model, const Script& frames,
                         const QByteArrayList& answers) { QTest::addRow("%s", name) << model << frames << answers; };
    const QByteArray measure = "c001c1"_hex;
    const QByteArray readOut = "c002c1"_hex;
    const QByteArray askSET1 = "0450"_hex;
    const QByteArray askSET3 = "04701101101726"_hex;
    const QByteArray askCE301 = "040152310254494d455f28290367"_hex;
    const QByteArray writeCE301 = "\x04\x01W1\x02TIME_(23:59:50)\x03\x18"_ba;
    const auto clockSet = [](const QByteArray& time) { return "\xC0\x08" + time + '\xC1'; };
    const QByteArray energySET3 = "c0827011011228400000111d0000102e0000892d00009d3cc1";

    row("CE102", "CE102", {{0, measure}, {0, readOut}}, {"c07de048e903010054013055010100637de0c1"});
    row("CE301", "CE301", {{0, measure}, {0, readOut}},
        {"c0024554305045283539352e3130294554305045283137302e3734294554305045283132352e3238294554305045283134312e3439294"
         "5"
         "54305045283135372e353929036bc1"});
    row("SET1", "SET1", {{0, measure}, {0, readOut}}, {Answer});
    row("SET3", "SET3", {{0, measure}, {0, readOut}}, {energySET3});
    row("the energy of the measure, once", "SET1", {{0, readOut}, {0, measure}, {10'000, readOut}, {10'000, readOut}},
        {Answer});
    row("other frames change nothing", "SET1",
        {{0, measure}, {0, "c0c1"_hex}, {0, "c0ffc1"_hex}, {0, "c002"_hex}, {0, ""_hex}, {0, readOut}}, {Answer});

    row("clock of a SET1", "SET1", {{0, askSET1}, {0, readOut}}, {"c0825000300802040314c1"});
    row("clock of a SET3", "SET3", {{0, askSET3}, {0, readOut}}, {"c08270110110003008020403148d39c1"});
    row("clock of a CE301", "CE301", {{0, askCE301}, {0, readOut}}, {"c00254494d455f2830383a33303a3030290301c1"});
    row("another meter's number", "SET3", {{0, measure}, {0, "04711101106192"_hex}, {0, readOut}}, {});
    row("wrong check of a request", "SET3", {{0, "04701101101727"_hex}, {0, readOut}}, {});

    row("CE301 time write", "CE301", {{0, writeCE301}, {15'000, askCE301}, {15'000, readOut}},
        {"c00254494d455f2830303a30303a303529037bc1"});
    row("CE301 time write, wrong check", "CE301",
        {{0, "\x04\x01W1\x02TIME_(23:59:50)\x03\x19"_ba}, {0, askCE301}, {0, readOut}},
        {"c00254494d455f2830383a33303a3030290301c1"});
    row("CE301 time write is nothing to a SET1", "SET1", {{0, writeCE301}, {0, askSET1}, {0, readOut}},
        {"c0825000300802040314c1"});
    row("clock set", "SET1", {{0, clockSet("5007230608032014")}, {20'000, askSET1}, {20'000, readOut}},
        {"c0825010082306080314c1"});
    row("clock set to a wrong day of the week", "SET1", {{0, clockSet("5007230708032014")}, {0, askSET1}, {0, readOut}},
        {"c0825000300802040314c1"});
}

void tst_Substation::commands()
{
    QFETCH(QByteArray, model);
    QFETCH(Script, frames);
    const QMap<QByteArray, RegisteredMeter> meters{
        {"CE102", Meter("000D6F0000001001", "1001", "CE102")},
        {"CE301", Meter("000D6F0000001002", "1002", "CE301")},
        {"SET1", Meter("000D6F0000001003", "1003", "SET1")},
        {"SET3", Meter("000D6F0000001004", "70000", "SET3")},
    };
    AnswerReport report;
    MeterNode node(meters.value(model), {}, {.begin = Begin()}, report);
    QByteArrayList answers;
    for (const auto& [ms, frame] : frames)
        for (const NodeAnswer& answer : node.Receive(frame, milliseconds(ms)))
            answers += answer.payload.toHex();
    QTEST(answers, "answers");
}

void tst_Substation::numbersAndCollector()
{
    AnswerReport report;
    MeterNode node(Meter("000D6F0000001003", "1003", "SET1"), {}, {.begin = Begin()}, report);
    for (const QByteArray& frame : {"\xC0\x05"
                                    "000D6F00001733EB\xC1"_ba,
             "\xC0\x06"
             "40\xC1"_ba,
             "c0077de0000000c1"_hex, "c0070102c1"_hex})
        QVERIFY(node.Receive(frame, Moment(0)).isEmpty());
    QCOMPARE(report.Summary().first(),
        "000D6F0000001003: asked 0, answered 0, lost 0, KI number 40, collector 000D6F00001733EB, number 192"_ba);
}

void tst_Substation::faults_data()
{
    QTest::addColumn<QByteArray>("scenario");
    QTest::addColumn<QByteArrayList>("written");
    QTest::addColumn<QByteArrayList>("report");

    const auto row = [](const char* name, const QByteArray& scenario, const QByteArrayList& written,
                         const QByteArrayList& report) {
        QTest::addRow("%s", name) << "[node 000D6F0000001003]\n" + scenario << written << report;
    };
    const QByteArray good = "SET1,energy,866.94 253.99 218.34 140.98 253.63,";
    const QByteArray later = "SET1,energy,866.95 253.99 218.34 140.99 253.63,";
    const QByteArray answer = Answer;
    const QByteArray laterAnswer = LaterAnswer;

    row("none", "", {"5370 11=" + answer, "15370 11=" + laterAnswer, "25370 11=" + laterAnswer},
        {"2014-03-04T08:30:05.370,000D6F0000001003," + good + ",yes",
            "2014-03-04T08:30:15.370,000D6F0000001003," + later + ",yes",
            "2014-03-04T08:30:25.370,000D6F0000001003," + later + ",yes"});
    row("every n-th", "every=2", {"15370 11=" + laterAnswer}, {later + ",yes"});
    row("late", "late = 7000", {"12370 11=" + answer, "22370 11=" + laterAnswer, "32370 11=" + laterAnswer},
        {good + ",yes", later + ",yes", later + ",yes"});
    row("wrong checksum", "undecodable = checksum\nevery=3", {"25370 11=c082153763004a550013370013630006c1"},
        {later + "checksum,yes"});
    row("half", "undecodable = half\nevery=3", {"25370 09=c082153763004a55c1"}, {later + "half,yes"});
    row("noise", "undecodable = garbage\nevery=3", {"25370 11=c0b40af014254a045e97b7dee2ed89cfc1"},
        {later + "garbage,yes"});
    row("in pieces", "pieces = 3\nevery=3", {"25370 06=c08215376300", "26070 06=4a5500133700", "26770 05=13630007c1"},
        {later + ",yes"});
    row("glued", "glued = yes\nevery=3", {"25370 22=" + laterAnswer + laterAnswer}, {later + ",yes", later + ",yes"});
    row("not reached", "nack = 1",
        {"170 NACK:00", "5170 NACK:01", "10170 NACK:02", "15170 NACK:03", "20170 NACK:04", "25170 NACK:05"}, {});
    row("lost in the air", "every=2\n[all]\nloss = 1", {}, {later + ",no"});
    row("alarms", "silent=yes\nalarm = 2014-03-04 08:29:59, 2014-03-04 08:30:05, 2014-03-04 08:30:05",
        {"5000 05=c0823535c1", "5000 05=c0823535c1"}, {"SET1,alarm,,,yes", "SET1,alarm,,,yes"});
    row("another seed, another meter", "every=3\n[all]\nseed = 2", {"25370 11=c082152433001e2000012200ea40001ec1"},
        {"SET1,energy,466.37 130.92 82.22 87.05 166.18,,yes"});
}

// Three times: measure, and 5 s later read-out, every 10 s.
void tst_Substation::faults()
{
    QFETCH(QByteArray, scenario);
    QFETCH(QByteArrayList, report);
    QString error;
    Scenario defaults;
    defaults.modem.baud = 0;
    const auto parsed = ParseScenario(scenario, defaults, error);
    QVERIFY2(parsed, qPrintable(error));

    QByteArrayList reported;
    AnswerReport account([&](const QByteArray& line) { reported += line; });
    VirtualSubstation substation({Meter("000D6F0000001003", "1003", "SET1")}, *parsed, Begin(), account);
    Script script;
    for (int i = 0; i < 6; ++i)
        script.append(
            {5'000 * i, "at+ucastb:03,000D6F0000001003\r\xC0" + (i % 2 == 0 ? "\x01"_ba : "\x02"_ba) + '\xC1'});

    const QByteArray unicast = "\r\nUCAST:000D6F0000001003,";
    QByteArrayList written;
    for (const QByteArray& line : Play(substation.Modem(), script)) {
        const QByteArray ms = line.left(line.indexOf(' ') + 1);
        const QByteArray bytes = QByteArray::fromHex(line.mid(ms.size()));
        if (bytes.startsWith(unicast))
            written += ms + bytes.mid(unicast.size(), 3) + bytes.mid(unicast.size() + 3).chopped(2).toHex();
        else if (bytes.startsWith("\r\nNACK"))
            written += ms + bytes.trimmed();
    }
    QTEST(written, "written");
    QCOMPARE(reported.takeFirst(), "time,uin,model,kind,values,flaw,whole"_ba);
    QCOMPARE(reported.size(), report.size());
    for (qsizetype i = 0; i < report.size(); ++i)
        QVERIFY2(reported.at(i).endsWith(report.at(i)), reported.at(i).constData());
}

// An answer that is reported as whole was written in one piece, whatever happened to its line; any other was not.
void tst_Substation::wholeIsWhole()
{
    QByteArrayList verdicts;
    AnswerReport account([&](const QByteArray& line) { verdicts += line.split(',').last(); });
    Scenario scenario;
    scenario.modem.garbage = 0.5;
    scenario.modem.fragmentation = 0.5;
    VirtualSubstation substation({Meter("000D6F0000001003", "1003", "SET1")}, scenario, Begin(), account);
    Script script;
    for (int i = 0; i < 200; ++i)
        script += {{2'000 * i, "at+ucastb:03,000D6F0000001003\r\xC0\x01\xC1"_ba},
            {2'000 * i + 1'000, "at+ucastb:03,000D6F0000001003\r\xC0\x02\xC1"_ba}};
    const QByteArray opening = "\r\nUCAST:000D6F0000001003,11=";
    qsizetype seen = 0;
    for (const QByteArray& line : Play(substation.Modem(), script)) {
        const QByteArray bytes = QByteArray::fromHex(line.mid(line.indexOf(' ') + 1));
        const qsizetype at = bytes.indexOf(opening);
        seen += at >= 0 && bytes.size() >= at + opening.size() + 17 ? 1 : 0;
    }
    QCOMPARE(verdicts.count("yes") + verdicts.count("no"), 200);
    QVERIFY(seen > 80 && seen < 195);
    QCOMPARE(verdicts.count("yes"), seen);
}

void tst_Substation::localLine_data()
{
    QTest::addColumn<QByteArray>("model");
    QTest::addColumn<QByteArray>("scenario");
    QTest::addColumn<Script>("script");
    QTest::addColumn<QByteArrayList>("written");

    const auto row = [](const char* name, const QByteArray& model, const QByteArray& scenario, const Script& script,
                         const QByteArrayList& written) {
        QTest::addRow("%s", name) << model << "[substation]\n" + scenario << script << written;
    };
    const QByteArray signOnAndOption = "\x05/?!\r\n\x06\x30\x36\x31\r\n"_ba;
    const QByteArray password = "\x01P1\x02(246810)\x03\x0C"_ba;
    const QByteArray readEnergy = "\x01R1\x02\x45T0PE()\x03\x37"_ba;
    const Script ce301{{0, signOnAndOption}, {800, password}, {1'200, readEnergy}, {1'600, "\r\n"_ba}};
    const QByteArray answerCE301 =
        "02" + "ET0PE(1232.16)ET0PE(348.71)ET0PE(207.38)ET0PE(204.58)ET0PE(471.49)"_ba.toHex() + "031a";
    const QByteArray ask = "701101120022b4"_hex;
    const QByteArray set3 = "701101123788000002510000ea4f00002db800007f65";
    const QByteArray later = "701101123788000002510000eb4f00002db8000038b6"; // 5 or 10 s

    row("CE301", "CE301", "", ce301, {"1835 " + answerCE301});
    row("CE301 without its password", "CE301", "", {{0, signOnAndOption}, {400, readEnergy + "\r\n"}}, {});
    row("CE301, after an exchange that broke off", "CE301", "", Script{{0, signOnAndOption + password}} + ce301,
        {"1835 " + answerCE301});
    row("SET3", "SET3", "", {{0, ask}, {5'000, ask}}, {"291 " + set3, "5291 " + later});
    row("SET3, byte by byte after noise", "SET3", "",
        {{0, "ff0070"_hex}, {100, "70"_hex}, {200, "11"_hex}, {300, "0112"_hex}, {400, "0022b4"_hex}}, {"691 " + set3});
    row("SET3 clock, fast", "SET3", "drift = 100000", {{20'000, "701101101726"_hex}},
        {"20254 7011011022300802040314832c"});
    row("silent", "SET3", "silent = yes", {{0, ask}}, {});
    row("the first readings unanswered", "SET3", "unanswered = 2", {{0, ask}, {5'000, ask}, {10'000, ask}},
        {"10291 " + later});
    row("noise", "SET3", "garbage = yes", {{0, ask}}, {"291 ac9dfb72b627025488f1cc2299db0db265685cd7e257"});
    row("a SET1 has no line", "SET1", "", {{0, ask}, {0, "P"_ba}}, {});
}

void tst_Substation::localLine()
{
    QFETCH(QByteArray, model);
    QFETCH(QByteArray, scenario);
    QFETCH(Script, script);
    QString error;
    const auto parsed = ParseScenario(scenario, {}, error);
    QVERIFY2(parsed, qPrintable(error));
    AnswerReport report;
    VirtualSubstation substation({Meter("KTP", "70000", model)}, *parsed, Begin(), report);
    QTEST(Play(*substation.LocalLine(), script), "written");
}

void tst_Substation::scenarioErrors_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("error");

    const auto row = [](const char* name, const QByteArray& text, const QString& rest) {
        QTest::addRow("%s", name) << text << u"line %1"_s.arg(rest);
    };
    row("key outside a section", "seed = 1", u"1 of the scenario is not understood: seed = 1"_s);
    row("unknown key", "# no\n\n[all]\nspeed = 1", u"4 of the scenario is not understood: speed = 1"_s);
    row("probability", "[all]\nloss = 1.01", u"2 of the scenario is not understood: loss = 1.01"_s);
    row("no UIN", "[node]", u"1 of the scenario is not understood: [node]"_s);
}

void tst_Substation::scenarioErrors()
{
    QFETCH(QByteArray, text);
    QString error;
    QVERIFY(!ParseScenario(text, {}, error));
    QTEST(error, "error");

    const QString example = QFileInfo(QString::fromUtf8(__FILE__)).path() + "/../share/scenario.ini.example"_L1;
    QVERIFY2(ReadScenario(example, {}, error), qPrintable(error));
}

void tst_Substation::registers_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("outcome");

    const QByteArray header = "global_id,UIN,Number,Model,Type,KI_Number\n";
    QTest::addRow("commas, quotes, blank line, byte-order mark")
        << "\xEF\xBB\xBF" + header + "1,\"000D6F0000001003\", 12,SET1,0,\r\n\r\n9,,70000,SET3,1,4"
        << "000D6F0000001003 12 SET1 node;  70000 SET3 line"_ba;
    QTest::addRow("semicolons, columns in another order") << "Type;Model;UIN;Number\n0;CE102;000D6F0000001003;7\n"_ba
                                                          << "000D6F0000001003 7 CE102 node"_ba;
    QTest::addRow("unknown model") << header + "1,000D6F0000001003,1,SET2,0,"
                                   << "FILE, line 2: unknown Model: SET2"_ba;
    QTest::addRow("short UIN") << header + "\n1,000D6F,1,SET1,0,"
                               << "FILE, line 3: the UIN has not 16 characters: 000D6F"_ba;
}

void tst_Substation::registers()
{
    QFETCH(QByteArray, text);
    const QTemporaryDir directory;
    QFile file(directory.filePath(u"register"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
    file.close();
    QTEST(Outcome(file.fileName()), "outcome");
}

void tst_Substation::registerInDatabase()
{
    const QTemporaryDir directory;
    const QString path = directory.filePath(u"register"_s);
    {
        QSqlDatabase base = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"test"_s);
        base.setDatabaseName(path);
        QVERIFY(base.open());
        QSqlQuery query(base);
        QVERIFY(
            query.exec(uR"(CREATE TABLE "Counters"("Type" INTEGER, "UIN" TEXT, "Number" INTEGER, "Model" TEXT))"_s));
        QVERIFY(query.exec(
            u"INSERT INTO \"Counters\" VALUES (0, '000D6F0000001''03', 12, 'SET1'), (1, '', 70000, 'CE301')"_s));
    }
    QSqlDatabase::removeDatabase(u"test"_s);
    QCOMPARE(Outcome(path), "000D6F0000001'03 12 SET1 node;  70000 CE301 line"_ba);
}

QTEST_GUILESS_MAIN(tst_Substation)
#include "tst_substation.moc"
