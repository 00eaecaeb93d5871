#include "ce102.h"
#include "ce301.h"
#include "ce301messages.h"
#include "meteranswers.h"
#include "nodeframe.h"
#include "set1.h"
#include "set3.h"

#include <QTest>

#include <array>
#include <charconv>
#include <vector>

using namespace Qt::StringLiterals;
using namespace MeterAnswers;

namespace {

QByteArray operator""_hex(const char* digits, size_t size)
{
    return QByteArray::fromHex(QByteArray(digits, static_cast<qsizetype>(size)));
}

/// The shortest text that reads back as exactly this float.
QByteArray Shortest(float value)
{
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.begin(), text.end(), value).ptr - text.data()};
}

/// What `decoder` makes of `pack`: "ok" or "no", then its outputs, which hold sentinels before. The decoder gets the
/// bytes in a block of exactly their size, so that a sanitizer sees it read behind them.
QByteArray Decoded(const QByteArray& decoder, const QByteArray& pack)
{
    const std::vector<char> block(pack.begin(), pack.end());
    const QByteArray exact = QByteArray::fromRawData(block.data(), pack.size());
    QByteArray data = "old"_ba;
    quint8 code = 0xEE;
    const auto outcome = [&data](bool ok, std::initializer_list<quint32> numbers) {
        QByteArray text = ok ? "ok"_ba : "no"_ba;
        for (const quint32 number : numbers)
            text += ' ' + QByteArray::number(number, 16);
        return text + ' ' + (data == "old"_ba ? data : data.toHex());
    };
    if (decoder == "CE102"_ba) {
        bool answer = true;
        quint16 address2 = 0xAAAA;
        quint16 address1 = 0xBBBB;
        quint16 command = 0xCCCC;
        const bool ok = TCounter_CE102::ReceivePack(exact, answer, address2, address1, command, data);
        return outcome(ok, {answer, address1, address2, command});
    }
    if (decoder == "CE301"_ba) {
        std::array<float, 5> v{-1, -1, -1, -1, -1};
        QByteArray text = TCounter_CE301::ReceivePack(exact, v[0], v[1], v[2], v[3], v[4]) ? "ok"_ba : "no"_ba;
        for (const float value : v)
            text += ' ' + Shortest(value);
        return text;
    }
    if (decoder == "CE301 time"_ba) {
        QString time = u"old"_s;
        const bool ok = TCounter_CE301::ReceiveTime(exact, time);
        return (ok ? "ok " : "no ") + time.toUtf8();
    }
    if (decoder == "SET1"_ba) {
        const bool ok = TCounter_SET1::ReceivePack(exact, code, data);
        return outcome(ok, {code});
    }
    if (decoder == "SET3"_ba) {
        quint32 meter = 0xDDDD;
        const bool ok = TCounter_SET3::ReceivePack(exact, meter, code, data);
        return outcome(ok, {meter, code});
    }
    const QByteArray payload = NodeFrame::FromC0C1(exact, data);
    return payload.toHex() + '|' + data.toHex();
}

const QByteArray AnswerCE102 = "c0 48 3412 0100 54 0130 10270000 dc c0"_hex;
const QByteArray StuffedCE102 = "c0 48 dbdcdbdd dbdddbdc 54 0130 dbdcdbdddc7a dbdd c0"_hex;
const QByteArray AnswerCE301 = "\2ET0PE(1234.50)ET0PE(1000.00)ET0PE(200.25)ET0PE(30.00)ET0PE(4.25)\3{"_ba;
const QByteArray AnswerSET1 = "82 15 102700 204e00 307500 409c00 da"_hex;
const QByteArray AnswerSET3 = "82 563412 12 10270000 10270000 10270000 10270000 6efc"_hex;
const QByteArray ShortSET1 = "82 50 05040302010215"_hex;

} // namespace

class tst_Meters : public QObject {
    Q_OBJECT

private slots:
    void requests()
    {
        const TCounter_CE102 stuffed(nullptr, 0xC0F5, 2);
        QCOMPARE(stuffed.CreateDataQuery(), "c0 48 dbdcf5 0001 0000000000 3001 0000 dbdd c0"_hex);
        QCOMPARE(TCounter_SET3::CreateQuery(0x10, 0xFF123456), "04 563412 10 3ce7"_hex);
        QCOMPARE(TCounter_SET3::CreateQuery(0x11, 0x00123456), QByteArray());
        QCOMPARE(TCounter_SET1::CreateQuery(0x10, 0x00123456), QByteArray());
        QCOMPARE(NodeFrame::ToC0C1("01 c0c17d"_hex), "c0 01 7de0 7de1 7d5d c1"_hex);
        QCOMPARE(TCounter_SET1::GetCRC("80 80"_hex), 256);
        QCOMPARE(TCounter_CE301::GetCRC("ff 81"_hex), 0x00);
        for (const QByteArrayView message :
            {CE301Messages::Password, CE301Messages::ReadEnergy, CE301Messages::ReadTime})
            QCOMPARE(TCounter_CE301::GetCRC(message.sliced(1).chopped(1).toByteArray()), message.back());
    }

    void decoded_data()
    {
        QTest::addColumn<QByteArray>("decoder");
        QTest::addColumn<QByteArray>("pack");
        QTest::addColumn<QByteArray>("outcome");
        QByteArray decoder;
        const auto row = [&decoder](const char* what, const QByteArray& pack, const char* outcome) {
            QTest::addRow("%s: %s", decoder.constData(), what) << decoder << pack << QByteArray(outcome);
        };

        decoder = "node"_ba;
        row("noise in front, glued frames", "0d0a c0 01 c1 c0 02 c1"_hex, "01|c002c1");
        row("no end yet", "c0 01"_hex, "|c001");
        row("end before start", "c1 02 c0 03 c1"_hex, "|02c003c1");
        row("no start yet", "01 c1 02"_hex, "|01c102");
        row("stuffed", "c0 7de0 7de1 7d5d c1"_hex, "c0c17d|");
        row("second start is payload", "c0 01 c0 02 c1"_hex, "01c002|");
        row("cut escape", "c0 01 7d c1"_hex, "01|");

        decoder = "CE102"_ba;
        row("noise around", "55"_hex + AnswerCE102 + "c0ff"_hex, "ok 1 1234 1 130 10270000");
        row("stuffed, its checksum too", StuffedCE102, "ok 1 dbc0 c0db 130 c0dbdc7a");
        row("simulated, stuffed", EnergyCE102(0xDBC0, 0xC0DB), "ok 1 dbc0 1 130 dbc00000");
        row("request bit", "c0 48 3412 0100 d2 0230 1027 95 c0"_hex, "ok 0 1234 1 230 1027");
        row("length not that of the data", "c0 48 3412 0100 53 0130 1027 53 c0"_hex, "no 1 1234 1 cccc old");
        row("class 4", "c0 48 3412 0100 42 0130 1027 d4 c0"_hex, "no 1 1234 1 cccc old");
        row("no data", "c0 48 3412 0100 50 0130 c2 c0"_hex, "no 1 1234 1 cccc old");
        row("16 data bytes", "c048341201005001300102030405060708090a0b0c0d0e0f104bc0"_hex, "no 1 1234 1 cccc old");
        row("low command byte 81 is negative", "c0 48 3412 0100 51 0181 07 1c c0"_hex, "ok 1 1234 1 81 07");
        row("unknown pair is dropped", "c0 48 3412 01 db41 00 51 0130 07 3b c0"_hex, "ok 1 1234 1 130 07");
        row("cut pair is dropped", "c0 48 3412 0100 51 0130 07 3b db c0"_hex, "ok 1 1234 1 130 07");
        row("wrong checksum", EnergyCE102(1, 2, Checksum::Wrong), "no 1 bbbb aaaa cccc old");
        row("an empty frame hides the next", "c0 c0 3412 0100 54 0130 10270000 97 c0"_hex, "no 1 bbbb aaaa cccc old");
        row("ends with the addresses", "c0 48 3412 01 06 c0"_hex, "no 1 1234 601 cccc old");
        row("ends before the addresses", "c0 48 3412 7f c0"_hex, "no 1 bbbb aaaa cccc old");

        decoder = "CE301"_ba;
        row("line ends between items", QByteArray(AnswerCE301).replace(")", ")\r\n"), "ok 1234.5 1000 200.25 30 4.25");
        row("wrong block check", EnergyCE301({1, 2, 3, 4}, Checksum::Wrong), "ok 0.1 0.01 0.02 0.03 0.04");
        row("cut in the middle", CutShort(AnswerCE301), "no 3.14159 -1 -1 -1 -1");
        row("four items", QByteArray(AnswerCE301).replace("ET0PE(4.25)", ""), "no 1234.5 1000 200.25 30 -1");
        row("item closed behind ETX", QByteArray(AnswerCE301).replace("4.25)\3", "4.25\3)"),
            "no 1234.5 1000 200.25 30 -1");
        row("no STX", AnswerCE301.sliced(1), "no 3.14159 -1 -1 -1 -1");
        row("ETX in front of STX", QByteArray(9, '\3') + AnswerCE301, "ok 1234.5 1000 200.25 30 4.25");
        row("items behind ETX", "\2\3" + AnswerCE301.sliced(1), "no 3.14159 -1 -1 -1 -1");

        decoder = "CE301 time"_ba;
        row("UTF-8, a broken byte replaced", "\2TIME_(\xD0\x96\xFF)\3"_ba, "ok \xD0\x96\xEF\xBF\xBD");
        row("closed in front only", ")TIME_(12:34:56"_ba, "no old");

        decoder = "SET1"_ba;
        row("trailing byte", AnswerSET1 + '\x55', "ok 15 102700204e00307500409c00");
        row("code is written though the checksum is wrong", EnergySET1({1, 2, 3, 4}, Checksum::Wrong), "no 15 old");
        row("code is written though the checksum is missing", AnswerSET1.chopped(1), "no 15 old");
        row("short answer, trailing byte", ShortSET1 + '\x55', "ok 50 05040302010215");
        row("short answer of 6", ShortSET1.chopped(1), "ok 50 050403020102");

        decoder = "SET3"_ba;
        row("one data byte", "82 563412 12 aa 621d"_hex, "ok 123456 12 aa");
        row("no data", "82 563412 12 1ca5"_hex, "no dddd ee old");
        row("number with its top bit", "82 000080 12 aa 4aeb"_hex, "ok ff800000 12 aa");
        row("two zeros behind pass the CRC", "82 563412 12 aa 621d 0000"_hex, "ok 123456 12 aa621d");
        row("all zeros pass the CRC", "82 000000 00 00 0000"_hex, "ok 0 0 00");
        row("wrong CRC", EnergySET3(1, {1, 2, 3, 4}, Checksum::Wrong), "no dddd ee old");
    }

    void decoded()
    {
        QFETCH(QByteArray, decoder);
        QFETCH(QByteArray, pack);
        QTEST(Decoded(decoder, pack), "outcome");
    }

    // Each text stands for the total, which is taken unchecked, and for the first tariff, which is not.
    void numbersCE301()
    {
        const QByteArray nines(100, '9');
        const QByteArray decimals = "0." + QByteArray(100, '1');
        QByteArrayList outcomes;
        for (const QByteArray& text : {"1,5"_ba, ""_ba, " 12\t\r\n"_ba, "-0"_ba, "nan"_ba, "-inf"_ba, "1e400"_ba,
                 "-1e39"_ba, "1e-50"_ba, "1\0002"_ba, nines, decimals})
            outcomes += Decoded("CE301"_ba, "\2ET0PE(" + text + ")ET0PE(" + text + ")ET0PE(2)ET0PE(3)ET0PE(4)\3");
        const auto none = "no 0 0 -1 -1 -1"_ba;
        QCOMPARE(outcomes,
            (QByteArrayList{none, none, "ok 12 12 2 3 4", "ok -0 -0 2 3 4", "ok nan nan 2 3 4", "ok -inf -inf 2 3 4",
                none, none, none, none, none, "ok 0.11111111 0.11111111 2 3 4"}));
        QCOMPARE(Decoded("CE301"_ba, "\2ET0PE(1,5)ET0PE(1)ET0PE(2)ET0PE(3)ET0PE(4)\3"_ba), "ok 0 1 2 3 4"_ba);
    }

    // Which lengths of an answer are accepted, and in which bytes a flipped bit stays unseen.
    void damaged()
    {
        using Bytes = QList<int>;
        const auto check = [](const QByteArray& decoder, const QByteArray& pack, const Bytes& acceptedLengths,
                               const Bytes& unprotectedBytes) {
            const auto accepted = [&](const QByteArray& bytes) { return Decoded(decoder, bytes).startsWith("ok"); };
            Bytes lengths;
            for (int length = 0; length <= pack.size(); ++length)
                if (accepted(pack.first(length)))
                    lengths += length;
            QCOMPARE(lengths, acceptedLengths);

            Bytes unprotected;
            for (int bit = 0; bit < 8 * pack.size(); ++bit) {
                QByteArray flipped = pack;
                flipped[bit / 8] = static_cast<char>(flipped.at(bit / 8) ^ 1 << bit % 8);
                if (accepted(flipped) && !unprotected.endsWith(bit / 8))
                    unprotected += bit / 8;
            }
            QCOMPARE(unprotected, unprotectedBytes);
        };
        check("CE102"_ba, StuffedCE102, {22}, {});
        check("SET3"_ba, AnswerSET3, {23}, {});
        check("SET1"_ba, AnswerSET1 + 'U', {15, 16}, {1, 15}); // code, what follows
        check("SET1"_ba, ShortSET1, {8, 9}, {2, 3, 4, 5, 6, 7, 8}); // data
        check("CE301 time"_ba, "TIME_(12)", {9}, {6, 7}); // text
        check("CE301"_ba, "\2ET0PE(1)ET0PE(2)ET0PE(3)ET0PE(4)ET0PE(5)\3m", {42, 43},
            {7, 15, 23, 31, 39, 42}); // where it stays a number
    }
};

QTEST_GUILESS_MAIN(tst_Meters)
#include "tst_meters.moc"
