// The models of meters as the rest of the system asks for them.

#include "metermodel.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_MeterModel : public QObject {
    Q_OBJECT

private slots:
    void timeQueries()
    {
        QVERIFY(!FindMeterModel(u"CE102")->timeQuery);
        QCOMPARE(FindMeterModel(u"CE301")->timeQuery(1), "\x04\x01R1\x02TIME_()\x03g"_ba);
        QCOMPARE(FindMeterModel(u"SET1")->timeQuery(1), "\x04P"_ba);
        QCOMPARE(FindMeterModel(u"SET3")->timeQuery(70000).toHex(), "04701101101726"_ba);
        QVERIFY(!FindMeterModel(u"set3")); // another case is another model
    }

    void clocks()
    {
        const auto shown = [](const QByteArray& bcd) {
            const QByteArray frame = "\x82P" + QByteArray::fromHex(bcd);
            const MeterAnswer answer = FindMeterModel(u"SET1")->read(frame);
            const QString texts =
                answer.clock ? *answer.clock->date + u'|' + answer.clock->time + u'|' + answer.clock->shown : u"none"_s;
            return texts + u'|' + FindMeterModel(u"SET1")->decodeClock(frame)->Local().toString(u"hh:mm t"_s);
        };
        qputenv("TZ", "Europe/Berlin");
        // The hour that summer time skips, on any weekday: stored as it is shown, no moment of local time.
        QCOMPARE(shown("003002ff300314"), u"2014-03-30|02:30:00|2014-03-30 02:30:00|"_s);
        QCOMPARE(shown("003003ff300314"), u"2014-03-30|03:30:00|2014-03-30 03:30:00|03:30 CEST"_s);
        qunsetenv("TZ");
        QCOMPARE(shown("0a040302010215"), u"|||"_s);
        QCOMPARE(shown("05040302300215"), u"|||"_s);
        QCOMPARE(shown("05042403010215"), u"|||"_s);
    }

    void energy()
    {
        const auto check = [](QStringView model, const QByteArray& answer, const QList<float>& expected) {
            Energy e{9, 9, 9, 9, 9};
            const bool decoded = FindMeterModel(model)->decodeEnergy(QByteArray::fromHex(answer), e);
            QCOMPARE(decoded ? QList<float>({e.total, e.t1, e.t2, e.t3, e.t4}) : QList<float>(), expected);
        };
        // The total alone; the others keep their values.
        check(u"CE102", "c0000100020054013087d6120008c0", {12345.67F, 9, 9, 9, 9});
        // The top bit makes it negative, and then huge.
        check(u"CE102", "c000010002005401300000008034c0", {1.84467436e17F, 9, 9, 9, 9});
        // The fifth byte falls on the first.
        check(u"CE102", "c000010002005501300100000002fdc0", {0.03F, 9, 9, 9, 9});
        check(u"CE102", "c00001000200540131010000003cc0", {}); // another command
        // The sum wraps at 32 bits.
        check(u"SET3", "8270110115ffffffff020000000000000000000000960a", {0.01F, 42949672.95F, 0.02F, 0, 0});
        check(u"SET3", "827011011005040302010215f9ac", {}); // a clock is no energy
        check(u"SET1", "8212102700204e00307500409c00da", {}); // another code
        check(u"CE301", "\2ET0PE(4)ET0PE(1)ET0PE(2)ET0PE(1)\3"_ba.toHex(), {}); // four items
    }
};

QTEST_GUILESS_MAIN(tst_MeterModel)
#include "tst_metermodel.moc"
