#include "answerwords.h"
#include "meteranswers.h"
#include "nodeframe.h"
#include "trafficwords.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr auto Wrong = MeterAnswers::Checksum::Wrong;
const MeterAnswers::Tariffs Tariffs{123456, 0xC0C17D, 0, 1};

/// {2} is a CE102's node, {3} a CE301's, {S} a SET1's, {T} a SET3's, {?} nobody's.
QByteArray Whole(QByteArray text)
{
    for (const char letter : {'2', '3', 'S', 'T', '?'})
        text.replace(QByteArray("{") + letter + '}', QByteArray("000D6F000000000") + letter);
    return text;
}

const MeterModel* ModelOf(const QByteArray& uin)
{
    switch (uin.back()) {
    case '2':
        return FindMeterModel(u"CE102");
    case '3':
        return FindMeterModel(u"CE301");
    case 'S':
        return FindMeterModel(u"SET1");
    case 'T':
        return FindMeterModel(u"SET3");
    default:
        return nullptr;
    }
}

/// What the node behind `name` sends, in messages of at most `most` bytes.
QByteArray From(const QByteArray& name, const QByteArray& payload, qsizetype most = 0x7F)
{
    QByteArray lines;
    for (qsizetype at = 0; at < payload.size(); at += most) {
        const QByteArray piece = payload.mid(at, most);
        lines += "\r\nUCAST:{" + name + "}," + QByteArray::number(piece.size(), 16).rightJustified(2, '0') + '=' + piece
            + "\r\n";
    }
    return Whole(lines);
}

QByteArray Frame(const QByteArray& answer)
{
    return NodeFrame::ToC0C1(answer);
}

QStringList Told(const QByteArray& bytes, qsizetype chunkSize)
{
    TrafficWords words(ModelOf);
    QStringList told;
    for (qsizetype at = 0; at < bytes.size(); at += chunkSize)
        for (const TrafficLine& line : words.Take(bytes.mid(at, chunkSize)))
            told.append(QString::fromLatin1(line.uin.right(line.uin.startsWith('?') ? 8 : 1)) + u' ' + line.kind
                + u": "_s + line.words);
    return told;
}

} // namespace

class tst_TrafficWords : public QObject {
    Q_OBJECT

private slots:
    void lines_data()
    {
        const QDateTime clock({2014, 3, 4}, {8, 7, 6});
        const auto hex = [](const QByteArray& bytes) { return QString::fromLatin1(bytes.toHex(' ')); };
        const QByteArray cut = MeterAnswers::CutShort(Frame(MeterAnswers::EnergySET1({1, 2, 3, 4})));
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("told");
        const auto row = [](const char* name, const QByteArray& bytes, const QString& told) {
            QTest::addRow("%s", name) << Whole(bytes) << told;
        };

        row("what the modem says of itself and its network",
            "\r\nOK\r\n\r\nFFD:{T}\r\nCOO:{3}\r\nNEWNODE: {?}\r\nSED:{2}x\r\n",
            u" modem: the modem says \"OK\"|T node: a node that passes messages on (FFD) is there|"
            "3 node: the network's coordinator (COO) is there|? node: a node has come into the network|"
            " modem: the modem says \"SED:000D6F0000000002x\""_s);
        row("reports", "+UCASTB:07\r\nACK:07\r\nNACK:08\r\nERROR:1A\r\nACK:7\r\nACK:\t7\r\n",
            u" taken: the modem has taken message 07| delivered: message 07 was delivered|"
            " undelivered: message 08 was not delivered| refused: the modem refuses, error 1A|"
            " modem: the modem says \"ACK:7\"| modem: the modem says \"ACK:\\u{9}7\""_s);
        row("SET3: stuffed, in three pieces", From("T", Frame(MeterAnswers::EnergySET3(70000, Tariffs)), 10),
            u"T piece: a piece of an answer that goes on, bytes: 10: c0 82 70 11 01 12 40 e2 01 00|"
            "T piece: a piece of an answer that goes on, bytes: 10: 7d 5d 7d e1 7d e0 00 00 00 00|"
            "T energy: SET3: 127559.02 kWh (tariffs 1234.56, 126324.45, 0.00, 0.01)"_s);
        row("SET1", From("S", Frame(MeterAnswers::EnergySET1({100, 250, 0, 0}))),
            u"S energy: SET1: 3.50 kWh (tariffs 1.00, 2.50, 0.00, 0.00)"_s);
        row("CE301", From("3", Frame(MeterAnswers::EnergyCE301({100, 250, 0, 0}))),
            u"3 energy: CE301: 3.50 kWh (tariffs 1.00, 2.50, 0.00, 0.00)"_s);
        row("CE102: the total alone", From("2", Frame(MeterAnswers::EnergyCE102(1, 0xC0DB))),
            u"2 energy: CE102: 493.71 kWh"_s);
        row("clocks",
            From("S", Frame(MeterAnswers::ClockSET1(clock))) + From("T", Frame(MeterAnswers::ClockSET3(1, clock)))
                + From("3", Frame(MeterAnswers::ClockCE301(clock.time())))
                + From("S", Frame("\x82P\xFF\xFF\xFF\xFF\xFF\xFF\xFF"_ba)),
            u"S clock: SET1: its clock shows 2014-03-04 08:07:06|T clock: SET3: its clock shows 2014-03-04 08:07:06|"
            "3 clock: CE301: its clock shows 08:07:06|S clock: SET1: its clock shows no date and time that exist"_s);
        row("wrong checksums",
            From("3", Frame(MeterAnswers::EnergyCE301({1, 0, 0, 0}, Wrong)))
                + From("S", Frame("\x82\x15"_ba + QByteArray(13, '\1'))),
            u"3 energy: CE301: 0.01 kWh (tariffs 0.01, 0.00, 0.00, 0.00); checksum wrong|S damaged: SET1: energy, but "
            "damaged: bytes: 15: 82 15 01 01 01 01 01 01 01 01 01 01 01 01 01"_s);
        row("alarm, empty, unknown node, noise",
            From("?", MeterAnswers::Alarm() + "\xC0\xC1\xC0\5\xC1"_ba) + From("T", "\xC1zz"_ba),
            u"? alarm: the meter's case was opened|? empty: an empty frame|? frame: a frame of a node without a known "
            "meter, bytes: 1: 05|T piece: outside of any frame, bytes: 3: c1 7a 7a"_s);
        row("a second answer after a cut one", From("S", cut) + From("T", Frame("\x05"_ba)) + From("S", "\xC1"_ba),
            u"S piece: a piece of an answer that goes on, bytes: 8: %1|T damaged: SET3: neither energy nor clock, or "
            "damaged: bytes: 1: 05|S damaged: SET1: neither energy nor clock, or damaged: bytes: 7: %2"_s.arg(
                hex(cut), hex(cut.sliced(1))));
        row("line ends in a payload; \"=\" and a text; to all",
            "\r\nUCAST:{?},06=\xC0\r\n\r\n\xC1\r\nUCAST:{?}=\xC0\5\xC1\r\nBCAST:{T},03=\xC0\5\xC1\r\n"_ba,
            u"? frame: a frame of a node without a known meter, bytes: 4: 0d 0a 0d 0a|? frame: a frame of a node "
            u"without "
            "a known meter, bytes: 1: 05|T damaged: to all: SET3: neither energy nor clock, or damaged: bytes: 1: 05"_s);
        row("a lost byte costs one message", "UCAST:{T},05=abc\r\nACK:01\r\nUCAST:{T},zz=\r\nUCAST:000D\r\n",
            u"T damaged: a message that was cut or changed on its way, bytes: 29: "
            "55 43 41 53 54 3a 30 30 30 44 36 46 30 30 30 30 30 30 30 30 30 54 2c 30 35 3d 61 62 63| delivered: "
            "message "
            "01 was delivered|T damaged: a message that was cut or changed on its way, bytes: 26: "
            "55 43 41 53 54 3a 30 30 30 44 36 46 30 30 30 30 30 30 30 30 30 54 2c 7a 7a 3d|D damaged: a message that "
            "was "
            "cut or changed on its way, bytes: 10: 55 43 41 53 54 3a 30 30 30 44"_s);
        row("hostile: escapes in a line, an address and a clock",
            "\x1b[2J\x9b\r\nFFD:000D6F00\x1b[2J\r\n\r\n"_ba.replace("[2J\r\n\r\n", "[2J0000\r\n")
                + From("3", "\xC0TIME_(\x1b]0;x\x07)\xC1"_ba),
            u" modem: the modem says \"\\u{1b}[2J\uFFFD\"|30303030 node: a node that passes messages on (FFD) is there|"
            "3 clock: CE301: its clock shows \\u{1b}]0;x\\u{7}; checksum wrong"_s);
    }

    void lines()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, told);
        QCOMPARE(Told(bytes, bytes.size()).join(u'|'), told);
        QCOMPARE(Told(bytes, 1).join(u'|'), told);
    }

    void tooMuchWithoutAnEnd()
    {
        const QByteArray endless = From("S", '\xC0' + QByteArray(NodePieces::MostHeld, 'x'));
        const QStringList told = Told(endless + From("S", Frame(MeterAnswers::EnergySET1({1, 0, 0, 0}))), 1);
        QVERIFY2(told[told.size() - 2].contains("too much came"_L1), qPrintable(told[told.size() - 2]));
        QCOMPARE(told.last(), u"S energy: SET1: 0.01 kWh (tariffs 0.01, 0.00, 0.00, 0.00)"_s);
        const QString manyFrames = Told(From("?", "\xC0\xC1"_ba.repeated(NodePieces::MostFrames + 1)), 1).join(u'|');
        QCOMPARE(manyFrames.count("an empty frame"_L1), NodePieces::MostFrames);
        QCOMPARE(Told(QByteArray(LineCutter::MostHeld, '\x1b'), 1).size(), 1);
    }

    void substation_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("told");
        QByteArray set3 = MeterAnswers::EnergySET3(70000, {100, 250, 0, 0}).sliced(1);
        QTest::newRow("CE301") << u"CE301"_s << MeterAnswers::EnergyCE301({100, 250, 0, 0})
                               << u"energy: CE301: 3.50 kWh (tariffs 1.00, 2.50, 0.00, 0.00)"_s;
        QTest::newRow("SET3, wrong checksum")
            << u"SET3"_s << set3.chopped(1) + 'x'
            << u"energy: SET3: 3.50 kWh (tariffs 1.00, 2.50, 0.00, 0.00); checksum wrong"_s;
        QTest::newRow("SET3, cut") << u"SET3"_s << set3.first(5)
                                   << u"damaged: SET3: not a whole answer: bytes: 5: 70 11 01 12 64"_s;
        QTest::newRow("silent") << u"SET3"_s << ""_ba << u"silent: the substation meter did not answer"_s;
        QTest::newRow("no model for it") << u"SET1"_s << "a"_ba
                                         << u"frame: a substation meter of no known model, bytes: 1: 61"_s;
    }

    void substation()
    {
        QFETCH(QString, model);
        QFETCH(QByteArray, answer);
        const AnswerWords said = WordsOfSubstation(answer, FindMeterModel(model), u"70000"_s);
        QTEST(said.kind + u": "_s + said.words, "told");
    }
};

QTEST_GUILESS_MAIN(tst_TrafficWords)
#include "tst_trafficwords.moc"
