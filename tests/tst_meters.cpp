#include "ce102.h"
#include "ce301.h"
#include "ce301messages.h"
#include "meteranswers.h"
#include "nodeframe.h"
#include "set1.h"
#include "set3.h"

#include <QRandomGenerator>
#include <QTest>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>

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
    const auto block = std::make_unique<char[]>(static_cast<size_t>(pack.size()));
    std::copy(pack.begin(), pack.end(), block.get());
    const QByteArray exact = QByteArray::fromRawData(block.get(), pack.size());

    QByteArray data = "old"_ba;
    quint8 code = 0xEE;
    const auto verdict = [](bool ok) { return ok ? "ok"_ba : "no"_ba; };
    const auto hex = [](quint32 value) { return ' ' + QByteArray::number(value, 16); };
    const auto bytes = [&data] { return ' ' + (data == "old"_ba ? data : data.toHex()); };
    if (decoder == "CE102"_ba) {
        bool answer = true;
        quint16 address2 = 0xAAAA;
        quint16 address1 = 0xBBBB;
        quint16 command = 0xCCCC;
        const bool ok = TCounter_CE102::ReceivePack(exact, answer, address2, address1, command, data);
        return verdict(ok) + (answer ? " answer" : " request") + hex(address1) + hex(address2) + hex(command) + bytes();
    }
    if (decoder == "CE301"_ba) {
        std::array<float, 5> values{-1, -1, -1, -1, -1};
        QByteArray text =
            verdict(TCounter_CE301::ReceivePack(exact, values[0], values[1], values[2], values[3], values[4]));
        for (const float value : values)
            text += ' ' + Shortest(value);
        return text;
    }
    if (decoder == "CE301 time"_ba) {
        QString time = u"old"_s;
        const bool ok = TCounter_CE301::ReceiveTime(exact, time);
        return verdict(ok) + ' ' + time.toUtf8();
    }
    if (decoder == "SET1"_ba) {
        const bool ok = TCounter_SET1::ReceivePack(exact, code, data);
        return verdict(ok) + hex(code) + bytes();
    }
    if (decoder == "SET3"_ba) {
        quint32 meter = 0xDDDD;
        const bool ok = TCounter_SET3::ReceivePack(exact, meter, code, data);
        return verdict(ok) + hex(meter) + hex(code) + bytes();
    }
    QByteArray rest = "old"_ba;
    const QByteArray payload = NodeFrame::FromC0C1(exact, rest);
    return payload.toHex() + '|' + rest.toHex();
}

const QByteArray AnswerCE102 = "c0 48 3412 0100 54 0130 10270000 dc c0"_hex;
const QByteArray AnswerCE301 = "\x02"
                               "ET0PE(1234.50)ET0PE(1000.00)ET0PE(200.25)ET0PE(30.00)ET0PE(4.25)\x03{"_ba;
const QByteArray AnswerSET1 = "82 15 102700 204e00 307500 409c00 da"_hex;
const QByteArray AnswerSET3 = "82 563412 12 10270000 10270000 10270000 10270000 6efc"_hex;
const QByteArray ShortSET1 = "82 50 05040302010215"_hex;

} // namespace

class tst_Meters : public QObject {
    Q_OBJECT

private slots:
    void checksums();
    void requests();
    void decoded_data();
    void decoded();
    void damaged_data();
    void damaged();
    void garbage();
    void simulatedBytes();
    void simulatedMetersThroughFragments();
};

void tst_Meters::checksums()
{
    QCOMPARE(TCounter_CE102::GetCRC("01"_hex), 0xB5);
    QCOMPARE(TCounter_CE102::GetCRC("80"_hex), 0xD5);
    QCOMPARE(TCounter_SET3::GetCRC("123456789"_ba), 0x31C3);
    QCOMPARE(TCounter_SET1::GetCRC("7f 80 ff 01"_hex), 1);
    QCOMPARE(TCounter_SET1::GetCRC("80 80"_hex), 256);
    QCOMPARE(TCounter_CE301::GetCRC("ff 81"_hex), 0x00);
    for (const QByteArrayView message : {CE301Messages::Password, CE301Messages::ReadEnergy, CE301Messages::ReadTime})
        QCOMPARE(TCounter_CE301::GetCRC(message.sliced(1).chopped(1).toByteArray()), message.back());
}

void tst_Meters::requests()
{
    const TCounter_CE102 stuffed(nullptr, 0xC0DB, 2);
    QCOMPARE(stuffed.CreateDataQuery(), "c0 48 dbdc dbdd 0001 0000000000 3001 0000 8d c0"_hex);
    const TCounter_CE102 stuffedChecksum(nullptr, 0x0012, 2);
    QCOMPARE(stuffedChecksum.CreateDataQuery(), "c0 48 0012 0001 0000000000 3001 0000 dbdc c0"_hex);

    QCOMPARE(TCounter_SET3::CreateQuery(0x10, 0x00123456), "04 563412 10 3ce7"_hex);
    QCOMPARE(TCounter_SET3::CreateQuery(0x10, 0xFF123456), "04 563412 10 3ce7"_hex);
    QCOMPARE(TCounter_SET3::CreateQuery(0x11, 0x00123456), QByteArray());
    QCOMPARE(TCounter_SET1::CreateQuery(0x10, 0x00123456), QByteArray());
}

void tst_Meters::decoded_data()
{
    QTest::addColumn<QByteArray>("decoder");
    QTest::addColumn<QByteArray>("pack");
    QTest::addColumn<QByteArray>("outcome");
    QByteArray decoder;
    const auto row = [&decoder](const char* what, const QByteArray& pack, const char* outcome) {
        QTest::addRow("%s: %s", decoder.constData(), what) << decoder << pack << QByteArray(outcome);
    };

    decoder = "node"_ba;
    row("glued frames", "c0 01 c1 c0 02 c1"_hex, "01|c002c1");
    row("noise in front", "0d0a c0 01 c1 0d"_hex, "01|0d");
    row("no end yet", "c0 01"_hex, "|c001");
    row("end before start", "01 c1 02 c0 03 c1"_hex, "|02c003c1");
    row("second start is payload", "c0 01 c0 02 c1"_hex, "01c002|");
    row("cut escape", "c0 01 7d c1"_hex, "01|");
    row("nothing", ""_ba, "|");

    decoder = "CE102"_ba;
    row("energy", AnswerCE102, "ok answer 1234 1 130 10270000");
    row("request bit", "c0 48 3412 0100 d2 0130 1027 00 c0"_hex, "ok request 1234 1 130 1027");
    row("length not that of the data", "c0 48 3412 0100 53 0130 1027 53 c0"_hex, "no answer 1234 1 cccc old");
    row("class 4", "c0 48 3412 0100 42 0130 1027 d4 c0"_hex, "no answer 1234 1 cccc old");
    row("no data", "c0 48 3412 0100 50 0130 c2 c0"_hex, "no answer 1234 1 cccc old");
    row("15 data bytes", "c0 48 3412 0100 5f 0130 0102030405060708090a0b0c0d0e0f e0 c0"_hex,
        "ok answer 1234 1 130 0102030405060708090a0b0c0d0e0f");
    row("16 data bytes", "c0 48 3412 0100 50 0130 0102030405060708090a0b0c0d0e0f10 4b c0"_hex,
        "no answer 1234 1 cccc old");
    row("low command byte 81 is negative", "c0 48 3412 0100 51 0181 07 1c c0"_hex, "ok answer 1234 1 81 07");
    row("low command byte 80 below zero", "c0 48 3412 0100 51 0080 07 58 c0"_hex, "ok answer 1234 1 ff80 07");
    row("stuffed", "c0 48 dbdcdbdd dbdddbdc 54 0130 dbdcdbdddcdd 37 c0"_hex, "ok answer dbc0 c0db 130 c0dbdcdd");
    row("stuffed checksum", "c0 48 3412 0100 51 0130 5c dbdd c0"_hex, "ok answer 1234 1 130 5c");
    row("unknown pair is dropped", "c0 48 3412 01 db41 00 51 0130 07 3b c0"_hex, "ok answer 1234 1 130 07");
    row("cut pair is dropped", "c0 48 3412 0100 51 0130 07 3b db c0"_hex, "ok answer 1234 1 130 07");
    row("wrong checksum", EnergyCE102(1, 2, Checksum::Wrong), "no answer bbbb aaaa cccc old");
    row("noise around", "55"_hex + AnswerCE102 + "c0ff"_hex, "ok answer 1234 1 130 10270000");
    row("shared delimiter hides the frame", "c0"_hex + AnswerCE102, "no answer bbbb aaaa cccc old");
    row("ends with the addresses", "c0 48 3412 01 06 c0"_hex, "no answer 1234 601 cccc old");
    row("ends before the addresses", "c0 48 3412 7f c0"_hex, "no answer bbbb aaaa cccc old");
    row("nothing", ""_ba, "no answer bbbb aaaa cccc old");

    decoder = "CE301"_ba;
    const auto item = [](const QByteArray& first, const QByteArray& second) {
        return "\x02"
               "ET0PE("
            + first + ")ET0PE(" + second + ")ET0PE(2)ET0PE(3)ET0PE(4)\x03";
    };
    row("energy", AnswerCE301, "ok 1234.5 1000 200.25 30 4.25");
    row("wrong block check", EnergyCE301({1, 2, 3, 4}, Checksum::Wrong), "ok 0.1 0.01 0.02 0.03 0.04");
    row("cut in the middle", CutShort(AnswerCE301), "no 3.14159 -1 -1 -1 -1");
    row("line ends between items", QByteArray(AnswerCE301).replace(")", ")\r\n"), "ok 1234.5 1000 200.25 30 4.25");
    row("four items", QByteArray(AnswerCE301).replace("ET0PE(4.25)", ""), "no 1234.5 1000 200.25 30 -1");
    row("unclosed item", QByteArray(AnswerCE301).replace("4.25)", "4.25"), "no 1234.5 1000 200.25 30 -1");
    row("no STX", AnswerCE301.sliced(1), "no 3.14159 -1 -1 -1 -1");
    row("ETX in front of STX", '\x03' + AnswerCE301, "ok 1234.5 1000 200.25 30 4.25");
    row("items behind ETX", "\x02\x03" + AnswerCE301.sliced(1), "no 3.14159 -1 -1 -1 -1");
    row("nothing", ""_ba, "no 3.14159 -1 -1 -1 -1");
    row("total is taken unchecked", item("1,5", "1"), "ok 0 1 2 3 4");
    row("empty total", item("", "1"), "ok 0 1 2 3 4");
    row("decimal comma", item("0", "1,5"), "no 0 0 -1 -1 -1");
    row("empty", item("0", ""), "no 0 0 -1 -1 -1");
    row("blanks", item(" 12 ", "\t7\r\n"), "ok 12 7 2 3 4");
    row("minus zero", item("-0", "-0"), "ok -0 -0 2 3 4");
    row("not a number", item("nan", "nan"), "ok nan nan 2 3 4");
    row("infinite", item("inf", "-inf"), "ok inf -inf 2 3 4");
    row("beyond a double", item("1e400", "1e400"), "no 0 0 -1 -1 -1");
    row("beyond a float", item("1e39", "-1e39"), "no 0 0 -1 -1 -1");
    row("below a float", item("1e-50", "1e-50"), "no 0 0 -1 -1 -1");
    row("100 digits", item(QByteArray(100, '9'), QByteArray(100, '9')), "no 0 0 -1 -1 -1");
    row("100 decimals", item("0." + QByteArray(100, '1'), "2"), "ok 0.11111111 2 2 3 4");
    row("zero byte inside", item("1", "1\0002"_ba), "no 1 0 -1 -1 -1");

    decoder = "CE301 time"_ba;
    row("clock", "\x02TIME_(12:34:56)\x03\x0b"_ba, "ok 12:34:56");
    row("UTF-8, a broken byte replaced", "TIME_(\xD0\x96\xFF)"_ba, "ok \xD0\x96\xEF\xBF\xBD");
    row("closed in front only", ")TIME_(12:34:56"_ba, "no old");
    row("nothing", ""_ba, "no old");

    decoder = "SET1"_ba;
    row("energy", AnswerSET1, "ok 15 102700204e00307500409c00");
    row("trailing byte", AnswerSET1 + "55"_hex, "ok 15 102700204e00307500409c00");
    row("code is written though the checksum is wrong", EnergySET1({1, 2, 3, 4}, Checksum::Wrong), "no 15 old");
    row("code is written though the checksum is missing", AnswerSET1.chopped(1), "no 15 old");
    row("short answer", ShortSET1, "ok 50 05040302010215");
    row("short answer of 6", ShortSET1.chopped(1), "ok 50 050403020102");
    row("short answer of 5", ShortSET1.chopped(2), "no ee old");
    row("first byte 81", "81"_hex + AnswerSET1.sliced(1), "no ee old");
    row("nothing", ""_ba, "no ee old");

    decoder = "SET3"_ba;
    row("energy", AnswerSET3, "ok 123456 12 10270000102700001027000010270000");
    row("clock", "82 563412 10 05040302010215 27e5"_hex, "ok 123456 10 05040302010215");
    row("one data byte", "82 563412 12 aa 621d"_hex, "ok 123456 12 aa");
    row("no data", "82 563412 12 1ca5"_hex, "no dddd ee old");
    row("number with its top bit", "82 000080 12 aa 4aeb"_hex, "ok ff800000 12 aa");
    row("two zeros behind pass the CRC", "82 563412 12 aa 621d 0000"_hex, "ok 123456 12 aa621d");
    row("all zeros pass the CRC", "82 000000 00 00 0000"_hex, "ok 0 0 00");
    row("CRC low byte first", "82 563412 12 aa 1d62"_hex, "no dddd ee old");
    row("wrong CRC", EnergySET3(1, {1, 2, 3, 4}, Checksum::Wrong), "no dddd ee old");
    row("first byte 83", "83"_hex + AnswerSET3.sliced(1), "no dddd ee old");
    row("nothing", ""_ba, "no dddd ee old");
}

void tst_Meters::decoded()
{
    QFETCH(QByteArray, decoder);
    QFETCH(QByteArray, pack);
    QTEST(Decoded(decoder, pack), "outcome");
}

void tst_Meters::damaged_data()
{
    QTest::addColumn<QByteArray>("decoder");
    QTest::addColumn<QByteArray>("pack");
    QTest::addColumn<QList<int>>("acceptedLengths");
    QTest::addColumn<QList<int>>("unprotectedBytes");

    QTest::addRow("CE102") << "CE102"_ba << AnswerCE102 << QList{15} << QList<int>{};
    QTest::addRow("CE102 stuffed") << "CE102"_ba
                                   << "c0 48 dbdcdbdd dbdddbdc 54 0130 dbdcdbdddcdd 37 c0"_hex << QList{21}
                                   << QList<int>{};
    QTest::addRow("SET3") << "SET3"_ba << AnswerSET3 << QList{23} << QList<int>{};
    QTest::addRow("SET1, its code and what follows are unprotected")
        << "SET1"_ba << AnswerSET1 + '\x55' << QList{15, 16} << QList{1, 15};
    QTest::addRow("SET1 short answer, its data is unprotected")
        << "SET1"_ba << ShortSET1 << QList{8, 9} << QList{2, 3, 4, 5, 6, 7, 8};
    QTest::addRow("CE301 clock, its text is unprotected") << "CE301 time"_ba
                                                          << "TIME_(12)"_ba << QList{9} << QList{6, 7};
    QTest::addRow("CE301 energy, unprotected where it stays a number")
        << "CE301"_ba
        << "\x02"
           "ET0PE(1)ET0PE(2)ET0PE(3)ET0PE(4)ET0PE(5)\x03m"_ba
        << QList{42, 43} << QList{7, 15, 23, 31, 39, 42};
}

void tst_Meters::damaged()
{
    QFETCH(QByteArray, decoder);
    QFETCH(QByteArray, pack);
    const auto accepted = [&decoder](const QByteArray& bytes) { return Decoded(decoder, bytes).startsWith("ok"); };

    QList<int> lengths;
    for (int length = 0; length <= pack.size(); ++length)
        if (accepted(pack.first(length)))
            lengths += length;
    QTEST(lengths, "acceptedLengths");

    QList<int> unprotected;
    for (int bit = 0; bit < 8 * pack.size(); ++bit) {
        QByteArray flipped = pack;
        flipped[bit / 8] = static_cast<char>(flipped.at(bit / 8) ^ 1 << bit % 8);
        if (accepted(flipped) && !unprotected.endsWith(bit / 8))
            unprotected += bit / 8;
    }
    QTEST(unprotected, "unprotectedBytes");
}

void tst_Meters::garbage()
{
    QRandomGenerator random(4711);
    for (int length = 0; length <= 300; ++length) {
        QByteArray bytes(length, '\0');
        std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<char>(random.generate()); });
        QByteArray rest = "old"_ba;
        QCOMPARE(NodeFrame::FromC0C1("\r\n" + NodeFrame::ToC0C1(bytes) + "\xC0", rest), bytes);
        QCOMPARE(rest, "\xC0"_ba);
        QVERIFY(Decoded("CE102"_ba, "\xC0\x48" + bytes + "\xC0").startsWith("no"));
        QVERIFY(Decoded("SET3"_ba, "\x82" + bytes).startsWith("no"));
        QCOMPARE(Decoded("SET1"_ba, "\x82P" + bytes).startsWith("ok"), length >= 6);
        QVERIFY(Decoded("CE301"_ba, "\x02ET0PE(" + bytes + "\x03").startsWith("no"));
    }
}

void tst_Meters::simulatedBytes()
{
    const QDateTime time(QDate(2015, 2, 1), QTime(3, 4, 5));
    const Tariffs tariffs{10000, 20000, 30000, 40000};

    QCOMPARE(EnergyCE102(0x1234, 10000), AnswerCE102);
    QCOMPARE(EnergyCE102(0x1234, 0xC0DB), "c0 48 3412 0100 54 0130 dbdddbdc0000 ee c0"_hex);
    QCOMPARE(EnergyCE301({0, 7, 123, 870}),
        "\x02"
        "ET0PE(10.00)ET0PE(0.00)ET0PE(0.07)ET0PE(1.23)ET0PE(8.70)\x03q"_ba);
    QCOMPARE(EnergySET1(tariffs), AnswerSET1);
    QCOMPARE(EnergySET3(0x123456, {10000, 10000, 10000, 10000}), AnswerSET3);
    QCOMPARE(ClockCE301(QTime(12, 34, 56)), "\x02TIME_(12:34:56)\x03\x0b"_ba);
    QCOMPARE(ClockSET1(time), "82 50 05040307010215"_hex);
    QCOMPARE(ClockSET3(0x123456, time).chopped(2), "82 563412 10 05040307010215"_hex);
    QCOMPARE(Alarm(), "c0 82 35 35 c1"_hex);
}

void tst_Meters::simulatedMetersThroughFragments()
{
    struct Exchange {
        QByteArray decoder;
        QByteArray answer;
        QByteArray outcome;
    };
    const auto littleEndian = [](quint32 value, qsizetype size) {
        const quint32 ordered = qToLittleEndian(value);
        return QByteArray(reinterpret_cast<const char*>(&ordered), size).toHex();
    };

    QRandomGenerator random(20140304);
    for (int round = 0; round < 5000; ++round) {
        const quint32 meter = random.bounded(0x800000U);
        Tariffs tariffs{};
        quint64 total = 0;
        QByteArray texts;
        QByteArray registers24;
        QByteArray registers32;
        for (quint32& tariff : tariffs) {
            tariff = random.generate() >> random.bounded(32);
            total += tariff;
            texts += ' ' + Shortest(static_cast<float>(tariff / 100.0));
            registers24 += littleEndian(tariff, 3);
            registers32 += littleEndian(tariff, 4);
        }
        const QByteArray totalText = Shortest(static_cast<float>(static_cast<double>(total) / 100.0));
        const QByteArray address = QByteArray::number(meter & 0xFFFF, 16);
        const std::array<Exchange, 4> exchanges{{
            {"CE102"_ba, EnergyCE102(static_cast<quint16>(meter), tariffs[0]),
                "ok answer " + address + " 1 130 " + registers32.first(8)},
            {"CE301"_ba, EnergyCE301(tariffs), "ok " + totalText + texts},
            {"SET1"_ba, EnergySET1(tariffs), "ok 15 " + registers24},
            {"SET3"_ba, EnergySET3(meter, tariffs), "ok " + QByteArray::number(meter, 16) + " 12 " + registers32},
        }};

        QByteArray stream;
        for (const Exchange& exchange : exchanges)
            stream += NodeFrame::ToC0C1(exchange.answer) + QByteArray(random.bounded(3), '\n');
        QByteArray buffer;
        for (const Exchange& exchange : exchanges) {
            QByteArray pack;
            while (pack.isEmpty()) {
                const qsizetype size = std::min<qsizetype>(stream.size(), random.bounded(1, 100));
                buffer += stream.first(size);
                stream.remove(0, size);
                pack = NodeFrame::FromC0C1(buffer, buffer);
                QVERIFY(!pack.isEmpty() || !stream.isEmpty());
            }
            QCOMPARE(Decoded(exchange.decoder, pack), exchange.outcome);
        }
    }
}

QTEST_GUILESS_MAIN(tst_Meters)
#include "tst_meters.moc"
