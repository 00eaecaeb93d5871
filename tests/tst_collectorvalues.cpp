// What the collector computes without asking anybody: times, texts, records.

#include "busmessages.h"
#include "clocktexts.h"
#include "energy.h"
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
    }

    void clocks()
    {
        QCOMPARE(ClockTexts::TimeQuery(u"CE301"_s, 1), "\x04\x01R1\x02TIME_()\x03g"_ba);
        QCOMPARE(ClockTexts::TimeQuery(u"set3"_s, 70000), ""_ba); // another case is another model

        const auto shown = [](const QByteArray& bcd) {
            return ClockTexts::FromBcd(QByteArray::fromHex(bcd)).toString(u"yyyy-MM-dd hh:mm:ss"_s);
        };
        qputenv("TZ", "Europe/Berlin");
        QCOMPARE(shown("003002ff300314"), u"2014-03-30 02:30:00"_s); // the hour that summer time skips, on any weekday
        qunsetenv("TZ");
        QCOMPARE(shown("0a040302010215"), u""_s);
        QCOMPARE(shown("05040302300215"), u""_s);
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

    void energy()
    {
        const auto check = [](const QString& model, const QByteArray& answer, const QList<float>& expected) {
            Energy e{9, 9, 9, 9, 9};
            const bool decoded = DecodeEnergy(model, QByteArray::fromHex(answer), e);
            QCOMPARE(decoded ? QList<float>({e.total, e.t1, e.t2, e.t3, e.t4}) : QList<float>(), expected);
        };
        // The total alone; the others keep their values.
        check(u"CE102"_s, "c0000100020054013087d6120008c0", {12345.67F, 9, 9, 9, 9});
        // The top bit makes it negative, and then huge.
        check(u"CE102"_s, "c000010002005401300000008034c0", {1.84467436e17F, 9, 9, 9, 9});
        // The fifth byte falls on the first.
        check(u"CE102"_s, "c000010002005501300100000002fdc0", {0.03F, 9, 9, 9, 9});
        check(u"CE102"_s, "c00001000200540131010000003cc0", {}); // another command
        // The sum wraps at 32 bits.
        check(u"SET3"_s, "8270110115ffffffff020000000000000000000000960a", {0.01F, 42949672.95F, 0.02F, 0, 0});
        check(u"SET3"_s, "827011011005040302010215f9ac", {}); // a clock is no energy
        check(u"SET1"_s, "8212102700204e00307500409c00da", {}); // another code
        check(u"CE301"_s, "\2ET0PE(4)ET0PE(1)ET0PE(2)ET0PE(1)\3"_ba.toHex(), {}); // four items
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
