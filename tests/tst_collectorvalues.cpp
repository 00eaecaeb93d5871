// What the collector computes without asking anybody: times, texts, frames, records, statements.

#include "busmessages.h"
#include "clocktexts.h"
#include "energy.h"
#include "maindatabase.h"
#include "ntpline.h"
#include "register.h"
#include "schedule.h"
#include "statements.h"
#include "substationframes.h"

#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_CollectorValues : public QObject {
    Q_OBJECT

private slots:
    void schedule_data();
    void schedule();
    void clockSetting();
    void timeQuery_data();
    void timeQuery();
    void clockFromBcd_data();
    void clockFromBcd();
    void referenceClock_data();
    void referenceClock();
    void energy_data();
    void energy();
    void multipliedInDoublePrecision();
    void substationRequest();
    void records();
    void placeholders();
    void statementsFitTheSchema();
};

void tst_CollectorValues::schedule_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("stamp");
    QTest::addColumn<bool>("matches");

    QTest::addRow("half hour") << u":[30]0$"_s << u"07 08:30"_s << true;
    QTest::addRow("ten past") << u":[30]0$"_s << u"07 08:10"_s << false;
    QTest::addRow("midnight, any day") << u"00:00$"_s << u"07 00:00"_s << true;
    QTest::addRow("unanchored: hour and day alike") << u"07"_s << u"07 00:00"_s << true;
    QTest::addRow("day of the month") << u"^07 0{1,2}:15"_s << u"17 00:15"_s << false;
    QTest::addRow("case-sensitive class") << u"\\D"_s << u"07 00:15"_s << true;
    QTest::addRow("empty matches always") << u""_s << u"07 00:15"_s << true;
    QTest::addRow("invalid never matches") << u":[30"_s << u"07 08:30"_s << false;
}

void tst_CollectorValues::schedule()
{
    QFETCH(QString, pattern);
    QFETCH(QString, stamp);
    QTEST(Schedule::Matches(pattern, stamp), "matches");
}

void tst_CollectorValues::clockSetting()
{
    QCOMPARE(ClockTexts::SetCharacters({{2014, 3, 4}, {8, 7, 5}}, 2), "0507080204032014"_ba);
    QCOMPARE(ClockTexts::SetCharacters({{2014, 3, 9}, {0, 0, 7}}, 7), "0700000709032014"_ba);
    QCOMPARE(ClockTexts::SetTimeCE301({8, 7, 5}).toHex(), "040157310254494d455f2830383a30373a3035290314"_ba);
}

void tst_CollectorValues::timeQuery_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<QByteArray>("query");

    QTest::addRow("SET3") << u"SET3"_s << "04701101101726"_ba;
    QTest::addRow("SET1") << u"SET1"_s << "0450"_ba;
    QTest::addRow("CE301") << u"CE301"_s
                           << "0401523102"
                              "54494d455f28290367"_ba;
    QTest::addRow("CE102 has none") << u"CE102"_s << ""_ba;
    QTest::addRow("another case is another model") << u"set3"_s << ""_ba;
}

void tst_CollectorValues::timeQuery()
{
    QFETCH(QString, model);
    QTEST(ClockTexts::TimeQuery(model, 70000).toHex(), "query");
}

void tst_CollectorValues::clockFromBcd_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("clock");

    QTest::addRow("weekday skipped") << "05040302010215"_ba << u"2015-02-01 03:04:05"_s;
    QTest::addRow("whatever the weekday") << "050403ff010215"_ba << u"2015-02-01 03:04:05"_s;
    QTest::addRow("the hour that summer time skips") << "00300207300314"_ba << u"2014-03-30 02:30:00"_s;
    QTest::addRow("nibble beyond nine") << "0a040302010215"_ba << u""_s;
    QTest::addRow("no such day") << "05040302300215"_ba << u""_s;
}

void tst_CollectorValues::clockFromBcd()
{
    QFETCH(QByteArray, bytes);
    qputenv("TZ", "Europe/Berlin");
    QTEST(ClockTexts::FromBcd(QByteArray::fromHex(bytes)).toString(u"yyyy-MM-dd hh:mm:ss"_s), "clock");
    qunsetenv("TZ");
}

void tst_CollectorValues::referenceClock_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("corrected");

    QTest::addRow("ahead") << "*10.0.0.1 .GPS. 1 u 33 64 377 0.512 1523.4 0.021\n"_ba << u"12:00:01.523"_s;
    QTest::addRow("many blanks") << "*10.0.0.1   .GPS.  1 u   33  64  377  0.512   1000.0  0.021"_ba
                                 << u"12:00:01.000"_s;
    QTest::addRow("just below a second") << "a b 1 u 3 6 7 0 999.9 0"_ba << u"12:00:00.000"_s;
    QTest::addRow("behind stays") << "a b 1 u 3 6 7 0 -2500 0"_ba << u"12:00:00.000"_s;
    QTest::addRow("past midnight") << "a b 1 u 3 6 7 0 43200000 0"_ba << u"00:00:00.000"_s;
    QTest::addRow("more days than a number of ms holds") << "a b 1 u 3 6 7 0 1e30 0"_ba << u"18:27:35.040"_s;
    QTest::addRow("infinite") << "a b 1 u 3 6 7 0 inf 0"_ba << u"12:00:00.000"_s;
    QTest::addRow("heading") << "remote refid st t when poll reach delay offset jitter"_ba << u"12:00:00.000"_s;
    QTest::addRow("eight columns") << "a b 1 u 3 6 7 5000"_ba << u"12:00:00.000"_s;
    QTest::addRow("tabs are no separators") << "a\tb\t1\tu\t3\t6\t7\t0\t5000\t0"_ba << u"12:00:00.000"_s;
    QTest::addRow("empty") << ""_ba << u"12:00:00.000"_s;
}

void tst_CollectorValues::referenceClock()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, corrected);
    QCOMPARE(NtpLine::Corrected({12, 0}, NtpLine::Offset(line)).toString(u"hh:mm:ss.zzz"_s), corrected);
}

void tst_CollectorValues::energy_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<bool>("decoded");
    QTest::addColumn<QList<float>>("registers");

    // 9 stands for a register that keeps its value.
    QTest::addRow("CE102: the total alone")
        << u"CE102"_s << "c0000100020054013087d6120008c0"_ba << true << QList<float>{12345.67F, 9, 9, 9, 9};
    QTest::addRow("CE102: top bit makes it negative, then huge")
        << u"CE102"_s << "c000010002005401300000008034c0"_ba << true << QList<float>{1.84467436e17F, 9, 9, 9, 9};
    QTest::addRow("CE102: the fifth byte falls on the first")
        << u"CE102"_s << "c000010002005501300100000002fdc0"_ba << true << QList<float>{0.03F, 9, 9, 9, 9};
    QTest::addRow("CE102: another command")
        << u"CE102"_s << "c00001000200540131010000003cc0"_ba << false << QList<float>{9, 9, 9, 9, 9};
    QTest::addRow("SET3") << u"SET3"_s << "827011011510270000204e000030750000409c000034d8"_ba << true
                          << QList<float>{1000, 100, 200, 300, 400};
    QTest::addRow("SET3: the sum wraps at 32 bits") << u"SET3"_s << "8270110115ffffffff020000000000000000000000960a"_ba
                                                    << true << QList<float>{0.01F, 42949672.95F, 0.02F, 0, 0};
    QTest::addRow("SET3: a clock is no energy")
        << u"SET3"_s << "827011011005040302010215f9ac"_ba << false << QList<float>{9, 9, 9, 9, 9};
    QTest::addRow("SET1") << u"SET1"_s << "8215102700204e00307500409c00da"_ba << true
                          << QList<float>{1000, 100, 200, 300, 400};
    QTest::addRow("SET1: another code") << u"SET1"_s << "8212102700204e00307500409c00da"_ba << false
                                        << QList<float>{9, 9, 9, 9, 9};
    QTest::addRow("CE301: four items") << u"CE301"_s
                                       << "\x02"_ba.toHex() + "ET0PE(4)ET0PE(1)ET0PE(2)ET0PE(1)\x03"_ba.toHex() << false
                                       << QList<float>{4, 1, 2, 1, 9};
    QTest::addRow("unknown model") << u"SET2"_s << "8215102700204e00307500409c00da"_ba << false
                                   << QList<float>{9, 9, 9, 9, 9};
}

void tst_CollectorValues::energy()
{
    QFETCH(QString, model);
    QFETCH(QByteArray, answer);
    Energy energy{9, 9, 9, 9, 9};
    QTEST(DecodeEnergy(model, QByteArray::fromHex(answer), energy), "decoded");
    QTEST((QList<float>{energy.total, energy.t1, energy.t2, energy.t3, energy.t4}), "registers");
}

void tst_CollectorValues::multipliedInDoublePrecision()
{
    const Energy energy = Multiplied({1234.5F, 0.01F, 2, 3, 4}, 40.0);
    QCOMPARE(energy.total, 49380.0F);
    QCOMPARE(energy.t1, 0.4F);
    QCOMPARE(energy.t4, 160.0F);
}

void tst_CollectorValues::substationRequest()
{
    const QByteArray request = SubstationFrames::Request(70000, "\x12\x00"_ba);
    QCOMPARE(request.toHex(), "701101120022b4"_ba);
    QCOMPARE(SubstationFrames::Request(70000, "\x10"_ba).toHex(), "701101101726"_ba);
    QVERIFY(SubstationFrames::IsAnswerTo(request, "\x70\x11\x01\x12"_ba));
    QVERIFY(!SubstationFrames::IsAnswerTo(request, "\x70\x11\x02\x12"_ba));
    QVERIFY(!SubstationFrames::IsAnswerTo(request, "\x70\x11\x01\x10"_ba));
    QVERIFY(!SubstationFrames::IsAnswerTo(request, "\x70\x11\x01"_ba));
}

void tst_CollectorValues::records()
{
    QCOMPARE(BusMessages::ReadingRecord(17, {1234.5F, 1, 2, 3, 4}, u"2015-03-01"_s, u"08:05:00"_s, 255).toHex(),
        "1100000000509a440000803f000000400000404000008040"
        "323031352d30332d3031"
        "30383a30353a3030"
        "ff00"_ba);
    QCOMPARE(BusMessages::ReadingRecord(-1, {}, u"'now'"_s, u"08:05:00.123"_s, -1).toHex(),
        "ffffffff0000000000000000000000000000000000000000"
        "276e6f77270000000000"
        "30383a30353a3030"
        "ffff"_ba);
    QCOMPARE(BusMessages::ClockRecord(1, u"2015-03-01 8:05"_s, u"2015-03-01 08:05:00"_s).toHex(),
        "01000000"
        "323031352d30332d303120383a303500000000"
        "323031352d30332d30312030383a30353a3030"
        "0000"_ba);
}

void tst_CollectorValues::placeholders()
{
    QCOMPARE(MainBase::Filled(Statements::InsertSilent, u"%9"_s, u"'now'"_s, u"b"_s, u"255"_s),
        u"INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) "
        "VALUES (%9, 0, 0, 0 ,0, 0, ''now'', 'b', 255)"_s);
    QCOMPARE(MainBase::Filled(Statements::ClockReadingCountSince, MainBase::InLiteral(u"x' or '%1"_s), u"d"_s),
        u"SELECT count(date_r) FROM time_table WHERE uin = 'x'' or ''%1' and date_r >= 'd'"_s);
}

void tst_CollectorValues::statementsFitTheSchema()
{
    using namespace Statements;
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"statements"_s);
    database.setDatabaseName(u":memory:"_s);
    QVERIFY(database.open());
    QSqlQuery query(database);
    for (const QString& table : RegisterSchema)
        QVERIFY2(query.exec(table), qPrintable(query.lastError().text()));

    for (const QStringView statement :
        {SubstationGlobalIds, SubstationUins, SubstationNumberAndModel, NodeMeters, NodesToNumber, NumbersAndModels,
            NumberOf, KiNumberOf, NumberAndModelOf, TypeOf, ModelAndGlobalIdOf, AlarmGlobalIdOf, SilentGlobalIdOf,
            ClockGlobalIdOf, AnsweredInSweep, ReadingsOfSweep, InsertReading, InsertSilent, InsertSubstationSilent,
            ClockReadingCountSince, ClockReadSince, ClockReadingsOfDate, InsertClockReading}) {
        const QString filled = statement.toString().replace(QRegularExpression(u"%\\d"_s), u"1"_s);
        QVERIFY2(query.prepare(filled), qPrintable(filled + query.lastError().text()));
    }
    QVERIFY(!query.prepare(MainBase::Filled(InsertClockPlaceholder, u"000D6F00001733EB"_s)));
    query = QSqlQuery();
    database = QSqlDatabase();
    QSqlDatabase::removeDatabase(u"statements"_s);
}

QTEST_GUILESS_MAIN(tst_CollectorValues)
#include "tst_collectorvalues.moc"
