// What comes to the collector between ticks: answers of nodes, the substation meter's, reports of the modem, requests
// of the administrator.

#include "collectorbench.h"
#include "meteranswers.h"

using namespace Qt::StringLiterals;

namespace {

struct AnswersCase {
    const char* name;
    QString model;
    QList<QByteArray> unicasts;
    const char* log;
    QString reading; // once the sweep is closed
    QString clock;
};

/// A SET3's clock answer with these data bytes, given in hexadecimal.
QByteArray ClockSET3(const QByteArray& data)
{
    const QByteArray covered = QByteArray::fromHex("701101"
                                                   "10"
        + data);
    return '\x82' + covered + MeterAnswers::CrcSET3(covered);
}

struct SubstationCase {
    const char* name;
    QString model;
    QByteArray answer;
    QList<float> registers; // empty: not read
};

} // namespace

class tst_Answers : public CollectorBench {
    Q_OBJECT

private slots:
    void answers_data()
    {
        const auto frame = [](const QByteArray& payload) { return TCollector::ToC0C1(payload); };
        constexpr auto Wrong = MeterAnswers::Checksum::Wrong;
        const QByteArray set3 = frame(MeterAnswers::EnergySET3(70000, {123456700, 0, 0, 0xC0C17D}));
        const char* const set3Log = "node 1 send data: 1.36089e+06 kW*h";
        const QString set3Row = u"1 1360890 1234570 0 0 126324 2014-03-04 08:30:00 0"_s;
        const QString undecodable = u"1 0 0 0 0 0 2014-03-04 08:30:00 1"_s;
        const QString heard = u"1 0 0 0 0 0 2014-03-04 08:30:00 2"_s;

        QTest::addColumn<AnswersCase>("c");
        for (const AnswersCase& c :
            {
                AnswersCase{"SET3, stuffed, six digits, in three unicasts", u"SET3"_s,
                    {set3.first(1), set3.sliced(1, 9), set3.sliced(10)}, set3Log, set3Row, {}},
                {"two glued: the second waits for the next unicast", u"SET3"_s, {set3 + set3, "\xC0\xC1"_ba},
                    "node 1 send data: 1.36089e+06 kW*h|node 1 send data: 1.36089e+06 kW*h", set3Row + u'|' + set3Row,
                    {}},
                {"SET3, wrong CRC: not even a code", u"SET3"_s,
                    {frame(MeterAnswers::EnergySET3(1, {1, 2, 3, 4}, Wrong))}, "", heard, {}},
                {"SET1, wrong checksum", u"SET1"_s, {frame(MeterAnswers::EnergySET1({1, 2, 3, 4}, Wrong))}, "",
                    undecodable, {}},
                {"CE301, infinite: logged, no row of the database's", u"CE301"_s,
                    {"\xC0\2ET0PE(inf)ET0PE(1)ET0PE(1)ET0PE(1)ET0PE(1)\x03\xC1"_ba}, "node 1 send data: inf kW*h",
                    heard, {}},
                {"CE301, energy and a clock with a quote in one", u"CE301"_s,
                    {"\xC0\2ET0PE(4)ET0PE(1)ET0PE(1)ET0PE(1)ET0PE(1)TIME_('%1');)\x03\xC1"_ba},
                    "node 1 send data: 4 kW*h|node 1 send time: '%1' kW*h", u"1 4 1 1 1 1 2014-03-04 08:30:00 0"_s,
                    u"000D6F0000000001 2014-03-04 '%1'  "_s},
                {"CE102: nothing is kept of it", u"CE102"_s, {frame("\x01\x02"_ba)}, "", heard, {}},
                {"CE301, a clock without end", u"CE301"_s, {"\xC0TIME_(12:34\xC1"_ba}, "", undecodable, {}},
                {"SET3, a clock of 6 bytes", u"SET3"_s, {frame(ClockSET3("070802040314"_ba))}, "", undecodable, {}},
                {"SET3, a clock of 8 bytes", u"SET3"_s, {frame(ClockSET3("0708020402031400"_ba))}, "", undecodable, {}},
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

    void routes()
    {
        Create();
        const auto energy = [this](const QByteArray& pack, const QString& model) {
            Energy e{9, 9, 9, 9, 9};
            QByteArray rest = "kept"_ba;
            const bool ok = collector->RouteDataFromCounter(pack, model, e.total, e.t1, e.t2, e.t3, e.t4, rest);
            return u"%1 %2 %3 %4"_s.arg(ok).arg(e.total).arg(e.t4).arg(QString::fromUtf8(rest));
        };
        const auto clock = [this](const QByteArray& pack, const QByteArray& model) {
            QDateTime time;
            QByteArray rest = "kept"_ba;
            const bool ok = collector->RouteTimeFromCounter(pack, model, time, rest);
            return u"%1 %2 %3"_s.arg(ok).arg(time.toString(Qt::ISODate), QString::fromUtf8(rest));
        };
        const auto frame = [](const QByteArray& payload) { return TCollector::ToC0C1(payload) + "rest"; };
        const QDateTime shown({2014, 3, 4}, {8, 7, 6});
        QCOMPARE(energy(frame(MeterAnswers::EnergyCE102(1, 1234567)), u"CE102"_s), u"1 12345.7 9 rest"_s);
        QCOMPARE(energy(frame("\2ET0PE(4)ET0PE(1)\3"_ba), u"CE301"_s), u"0 4 9 rest"_s);
        QCOMPARE(energy(frame(MeterAnswers::EnergySET1({1, 2, 3, 4})), u"set1"_s), u"0 9 9 kept"_s);
        QCOMPARE(
            clock(frame(MeterAnswers::ClockSET1(shown)), "SET1"_ba), u"1 2014-03-04T08:07:06 rest"_s); // local time
        QCOMPARE(clock(frame(MeterAnswers::EnergySET1({1, 2, 3, 4})), "SET1"_ba), u"0  rest"_s);
        for (const QByteArray& model : {"CE102"_ba, "CE301"_ba, "none"_ba})
            QCOMPARE(clock(frame(MeterAnswers::ClockSET1(shown)), model), u"0  kept"_s);
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
        collector->ReceivedUCAST(Node(9), MeterAnswers::Alarm() + 'x'); // an alarm is the frame alone
        QCOMPARE(journal, Lines("Can not read database"));
        QCOMPARE(Readings(), Lines("9 0 0 0 0 0 2014-03-04 08:30:00 1"));
        QVERIFY(!buffer->GetUCAST(Node(9)).isEmpty());
        QVERIFY(!buffer->FindItem(Node(5)));
    }

    void moreNodesThanThereCanBe()
    {
        DeliveryReports reports;
        reports.Forget("registered"_ba);
        for (qsizetype i = 1; i < DeliveryReports::MostNodes; ++i)
            QVERIFY(reports.Heard(QByteArray::number(i)));
        QVERIFY(!reports.Heard("one more"_ba));
        QVERIFY(reports.Heard("registered"_ba));
        QCOMPARE(reports.StatusOf("registered"_ba), 2);
    }

    void alarmsAndErrors()
    {
        Register(17, Node(1), u"1"_s, u"SET1"_s, 0);
        Register(9, "KTP"_ba, u"1"_s, u"SET1"_s, 1);
        Register(8, "KTP"_ba, u"1"_s, u"SET3"_s, 1);
        Create();
        VirtualTime::Reset({{2015, 3, 1}, {12, 30, 5}});
        collector->ReceivedUCAST(Node(1), "\xC0\x82\x35\x35\xC1"_ba);
        collector->ReceivedUCAST("0000000000000000"_ba, MeterAnswers::Alarm());
        collector->zError(26);
        NoteBus();
        QCOMPARE(journal,
            Lines("Open the case: 17|Open the case: 9|Error number 26|"
                  "bus: error Error-2015-03-01-12-30-05-17 17#2015-03-01 12:30:05#ERROR:55#\n|"
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
                 SubstationCase{"CE301", u"CE301"_s, "noise ET0PE(1234.5)ET0PE(1)ET0PE(2)\r\nET0PE(3)ET0PE(4)"_ba,
                     {49380, 40, 80, 120, 160}},
                 {"CE301, four items", u"CE301"_s, "ET0PE(1)ET0PE(1)ET0PE(1)ET0PE(1)"_ba, {}},
                 {"SET3, sum wraps, CRC missing", u"SET3"_s, set3("70110112"),
                     {4000, 4000, 0.39999998F, 1717986880.0F, 0}},
                 {"SET3, more behind", u"SET3"_s, set3("70110112") + "\xFF\xFF",
                     {4000, 4000, 0.39999998F, 1717986880.0F, 0}},
                 {"SET3, cut", u"SET3"_s, set3("70110112").chopped(1), {}},
                 {"SET3, another meter", u"SET3"_s, set3("70110212"), {}},
                 {"SET3, another code", u"SET3"_s, set3("70110110"), {}},
             })
            QTest::newRow(c.name) << c;
    }

    void substationMeter()
    {
        QFETCH(SubstationCase, c);
        RegisterSubstation(c.model);
        OpenSubstation(c.answer);
        QCOMPARE(substation->Write("ET0PE(9)"), 8); // too late an answer to an earlier request: not read
        vars.CounterKTPMultiplier = 40;
        Create();
        Energy e;
        QCOMPARE(collector->ReadPowerFromKTP(e.total, e.t1, e.t2, e.t3, e.t4), !c.registers.isEmpty());
        if (!c.registers.isEmpty())
            QCOMPARE((QList<float>{e.total, e.t1, e.t2, e.t3, e.t4}), c.registers);
        QCOMPARE(substationSettings, c.model == "SET3"_L1 ? "2400 8N1"_ba : "19200 7E1"_ba);
        QCOMPARE(journal,
            Lines(c.model == "SET3"_L1 ? "ktp <- 701101120022b4|wait 1000"
                                       : "ktp <- 052f3f210d0a|wait 400|ktp <- 063036310d0a|wait 400|"
                                         "ktp <- 015031022832343638313029030c|wait 400|"
                                         "ktp <- 01523102455430504528290337|wait 400|ktp <- 0d0a|wait 1000")
                + QStringList{u"port: "_s + QString::fromLatin1(c.answer.toHex())});
    }

    void clockOfSubstation()
    {
        RegisterSubstation(u"SET3"_s);
        OpenSubstation("\x70\x11\x01\x10\x07\x08\x02\x04\x03\x14"_ba);
        Create();
        QCOMPARE(
            collector->GetTimeFromCouner(), QDateTime({2014, 3, 4}, {8, 7, 10})); // local time; the code as seconds
        substationAnswer.chop(1);
        QCOMPARE(collector->GetTimeFromCouner(), QDateTime({2014, 3, 3}, {8, 29, 31}));
        Sql(u"UPDATE \"Counters\" SET \"Number\" = '7x'"_s);
        QCOMPARE(collector->GetTimeFromCouner(), QDateTime({2014, 3, 3}, {8, 29, 32}));
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
        RegisterNode(4, u"SET1"_s, u"70000"_s);
        Sql(u"UPDATE \"Counters\" SET \"KI_Number\" = 'é' WHERE global_id = 4"_s);
        Create();
        for (int n : {1, 2, 3})
            collector->SendCounterNumber(Node(n));
        collector->SendCounterNumber(Node(4));
        for (int n : {1, 4})
            collector->SendCINumber(Node(n));
        collector->SendCINumber("' OR '1'='1"_ba);
        collector->SendCountersNumbers();
        QCOMPARE(journal,
            Lines("node 1 <- c00702010000c1|node 2 <- c00700000000c1||node 4 <- c00770110100c1|node 1 <- c0063430c1|"
                  "node 4 <- c006e9c1|||wait 5000||wait 5000||wait 5000"));
        for (const int n : {1, 2, 4, 1, 4}) {
            collector->zNACK(1);
            QCOMPARE(journal.last(), u"Error. Received 'NACK' from modem with number node %1"_s.arg(n));
        }
    }
};

QTEST_GUILESS_MAIN(tst_Answers)
#include "tst_answers.moc"
