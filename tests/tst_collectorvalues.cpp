// What the collector computes without asking anybody: times, texts, records.

#include "busmessages.h"
#include "ntpline.h"
#include "schedule.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_CollectorValues : public QObject {
    Q_OBJECT

private slots:
    void schedule()
    {
        QVERIFY(Schedule::Matches(u"07"_s, u"07 00:00"_s)); // hour and day alike
        QVERIFY(!Schedule::Matches(u"^07 0{1,2}:15"_s, u"17 00:15"_s));
        QVERIFY(Schedule::Matches(u"\\D"_s, u"07 00:15"_s)); // in the case it is written
        QVERIFY(Schedule::Matches(u""_s, u"07 00:15"_s));
        QVERIFY(!Schedule::Matches(u":[30"_s, u"07 08:30"_s));
        QVERIFY(Schedule::Matches(u"^07 0{,2}:15$"_s, u"07 00:15"_s)); // at most two
        QVERIFY(!Schedule::Matches(u"^07 0{,1}:15$"_s, u"07 00:15"_s));
        QCOMPARE(Schedule::Expression(u"1{,3}\\{,3}[{,3}]{,x}2{,1}"_s).pattern(), u"1{0,3}\\{,3}[{,3}]{,x}2{0,1}"_s);
    }

    void referenceClock()
    {
        const auto corrected = [](const QByteArray& line) {
            return NtpLine::Corrected({12, 0}, NtpLine::Offset(line)).toString(u"hh:mm:ss.zzz"_s);
        };
        QCOMPARE(corrected("*10.0.0.1   .GPS.  1 u   33  64  377  0.512   1523.4  0.021\n"), u"12:00:01.523"_s);
        QCOMPARE(corrected("a b 1 u 3 6 7 0 1000.0 0"), u"12:00:01.000"_s);
        QCOMPARE(corrected("a b 1 u 3 6 7 0 999.9 0"), u"12:00:00.000"_s);
        QCOMPARE(corrected("a b 1 u 3 6 7 0 -2500 0"), u"12:00:00.000"_s);
        QCOMPARE(corrected("a b 1 u 3 6 7 0 1e30 0"), u"18:27:35.040"_s); // more days than a number of ms holds
        QCOMPARE(corrected("a b 1 u 3 6 7 0 inf 0"), u"12:00:00.000"_s);
        QCOMPARE(corrected("a b 1 u 3 6 7 5000"), u"12:00:00.000"_s);
        QCOMPARE(corrected("a\tb\t1\tu\t3\t6\t7\t0\t5000\t0"), u"12:00:00.000"_s); // tabs are no separators
    }

    void records()
    {
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
};

QTEST_GUILESS_MAIN(tst_CollectorValues)
#include "tst_collectorvalues.moc"
