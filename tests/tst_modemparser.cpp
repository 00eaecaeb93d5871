#include "modemparser.h"
#include "modemstream.h"

#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

struct Describe {
    QByteArrayList& lines;
    QSet<QByteArray>& known;

    void operator()(const ModemEvent::NodeFound& e)
    {
        known += e.uin;
        lines += "new " + e.uin + ' ' + QByteArray(e.type.data(), e.type.size());
    }
    void operator()(const ModemEvent::Unicast& e) { lines += "unicast " + e.uin + '|' + e.payload; }
    void operator()(const ModemEvent::Broadcast& e) { lines += "broadcast " + e.uin + '|' + e.payload; }
    void operator()(ModemEvent::Delivered e) { lines += "ack " + QByteArray::number(e.number); }
    void operator()(ModemEvent::NotDelivered e) { lines += "nack " + QByteArray::number(e.number); }
    void operator()(ModemEvent::Accepted e) { lines += "accepted " + QByteArray::number(e.number); }
    void operator()(ModemEvent::Refused e) { lines += "refused " + QByteArray::number(e.code); }
};

/// {A}, a known node, and {B} stand for addresses.
QByteArray Whole(QByteArray text)
{
    return text.replace("{A}", "000D6F00001733EB").replace("{B}", "000D6F0000AAAAAA");
}

QByteArrayList Events(const QByteArray& chunk)
{
    QSet<QByteArray> known{Whole("{A}")};
    QByteArrayList lines;
    ParseModemChunk(
        chunk, [&](const QByteArray& uin) { return known.contains(uin); },
        [&](const ModemEvent::Any& event) {
            std::visit(Describe{lines, known}, event);
        });
    return lines;
}

constexpr auto EveryTag = "\r\nERROR:02\r\n\r\n+UCASTB:01\r\n\r\nACK:01\r\nNACK:02\r\n\r\nBCAST:{B}=b\r\n\r\n"
                          "UCAST:{B},01:u\r\n\r\nNEWNODE: 0000000000000003\r\nNEWNODE: 0000000000000004\r\n"
                          "SED:0000000000000003\r\nCOO:0000000000000002\r\nFFD:0000000000000001\r\nFFD:{A}\r\n";
constexpr auto EveryEvent = "new 0000000000000001 FFD:; new 0000000000000002 COO:; new 0000000000000003 SED:; "
                            "new 0000000000000004 NEWNODE: ; new {B} NEWNODE; unicast {B}|u; broadcast {B}|ub; ack 1; "
                            "nack 2; accepted 1; refused 2";

} // namespace

class tst_ModemParser : public QObject {
    Q_OBJECT

private slots:
    void events_data()
    {
        QTest::addColumn<QByteArray>("chunk");
        QTest::addColumn<QByteArray>("events");
        const auto row = [](const char* name, const QByteArray& chunk, const QByteArray& events) {
            QTest::addRow("%s", name) << Whole(chunk) << Whole(events);
        };

        row("in tag order, nodes known to later tags", EveryTag, EveryEvent);
        row("address: 15 characters", "FFD:000D6F0000AAAAA", "");
        row("address: any 16 bytes", "FFD:000D6F0000AA\0A\r\n"_ba, "new 000D6F0000AA\0A\r\n FFD:"_ba);
        row("joined: blank is part of the tag", "\r\nNEWNODE:{B}\r\n", "");
        row("lone colon, tag twice in a row", ":FFD:FFD:{B}", "new FFD:000D6F0000AA FFD:; new {B} FFD:");

        row("unicast: only at the start of a line", "UCAST:{A},01:x\n\nUCAST:{A},01:x\r\n", "");
        row("unicast: raw bytes", "\r\nUCAST:{A},05:\xC0\0\r\n\xC1\r\n"_ba, "unicast {A}|\xC0\0\r\n\xC1"_ba);
        row("unicast: \"=\" behind the length", "\r\nUCAST:{A},05=abcde\r\n", "unicast {A}|abcde");
        row("unicast: address cut", "\r\nUCAST:000D6F", "unicast 000D6F|");
        row("unicast: neither form", "\r\nUCAST:{A};05:abcde\r\nUCAST:{A}", "unicast {A}|; unicast {A}|");
        row("unicast: length in lower case", "\r\nUCAST:{A},0a:0123456789\r\n", "unicast {A}|0123456789");
        row("unicast: length 127", "\r\nUCAST:{A},7F:" + QByteArray(128, 'x'), "unicast {A}|" + QByteArray(127, 'x'));
        row("unicast: length 128 is negative", "\r\nUCAST:{A},80:" + QByteArray(128, 'x'), "unicast {A}|");
        row("unicast: length is no number", "\r\nUCAST:{A},zz:abc\r\n", "unicast {A}|");
        row("unicast: more announced than there, the chunk's last bytes", "\r\nUCAST:{A},05:abc", "unicast {A}|5:abc");
        row("unicast: chunk ends behind the length", "\r\nUCAST:{A},03", "unicast {A}|,03");
        row("unicast: more announced than the chunk has", "\r\nUCAST:{A},7F:ab", "unicast {A}|\r\nUCAST:{A},7F:ab");
        row("unicast: text up to a lone LF", "\r\nUCAST:{A}=te\nxt\r\n", "unicast {A}|te");
        row("unicast: text cut, zero byte in it", "\r\nUCAST:{A}=t\0x"_ba, "unicast {A}|t\0x"_ba);
        row("broadcast: at the start of a chunk", "BCAST:{A},02:hi\r\n", "broadcast {A}|hi");
        row("broadcast: inside a line", "xBCAST:{B}=hi\r\n", "new {B} NEWNODE; broadcast {B}|hi");
        row("tags inside a payload", "\r\nUCAST:{A},0A:FFD:NACK:5", "unicast {A}|FFD:NACK:5; nack 5");
        row("carry-over: text is added, also to binary; binary replaces; neither form repeats; no number empties",
            "\r\nUCAST:{A}=one\r\nUCAST:{A}=two\r\nUCAST:{A},03:abc\r\nUCAST:{A}\r\nUCAST:{A}=d\r\nUCAST:{A},??:x\r\n",
            "unicast {A}|one; unicast {A}|onetwo; unicast {A}|abc; unicast {A}|abc; unicast {A}|abcd; unicast {A}|");

        row("ACK behind LF and NACK only", "ACK:03\rACK:03nACK:03\nACK:04NACK:05", "ack 4; nack 5");
        row("ACK: numbers", "\nACK:99\nACK:\nACK:0x\nACK:1", "ack 99; ack 1");
        row("accepted", "+UCASTB:07UCASTB:08+UCASTB:1A", "accepted 7");
        row("refused", "ERROR:1A\r\nERROR:ff\r\nERROR:\r\n", "refused 26; refused 255");
    }

    void events()
    {
        QFETCH(QByteArray, chunk);
        QTEST(Events(chunk).join("; "), "events");
    }

    void stream_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("messages"); // with / between them, the rest behind the last
        const auto row = [](const char* name, const QByteArray& messages) {
            const QByteArray marked = Whole(messages);
            QTest::addRow("%s", name) << QByteArray(marked).replace("/", "") << marked;
        };
        row("lines", "\r\n+UCASTB:01\r\n/\r\nOK\r\n/ACK:01\r\n/\r\nNA");
        row("line ends in a payload", "\r\nUCAST:{A},06=\r\n\r\nab\r\n/\r\nBCAST:{A},02:\r\n\r\n/x");
        row("payload without its end", "\r\nUCAST:{A},06=abcdef\r");
        row("header without its end", "\r\nUCAST:{A},0");
        row("fewer bytes than announced", "\r\nUCAST:{A},09=abcd\r\n/\r\nACK:02\r\n/");
        row("line end in the address", "UCAST:\r\n/D6F00001733EB,06=ab\r\n/UCAST:{A},01\r\n/b\r\n/");
        row("a text, a length that is none, one that is negative",
            "UCAST:{A}=text\r\n/UCAST:{A},zz=\r\n/UCAST:{A},80=ab\r\n/");
    }

    void stream()
    {
        QFETCH(QByteArray, bytes);
        for (qsizetype size : {bytes.size(), qsizetype(1), qsizetype(7)}) {
            ModemStream modem;
            QByteArrayList messages;
            for (qsizetype at = 0; at < bytes.size(); at += size)
                messages += modem.Take(bytes.mid(at, size), 5000);
            QVERIFY(modem.Take({}, 5999).isEmpty());
            messages += modem.Take({}, 6000);
            if (!bytes.endsWith("\r\n"))
                QTEST(messages.join('/'), "messages");
            else
                QTEST(messages.join('/') + '/', "messages");
        }
    }

    void nestedBroadcastsStayBounded()
    {
        qsizetype longest = 0;
        for (const QByteArray& event : Events(Whole("BCAST:{A}=").repeated(10'000)))
            longest = std::max(longest, event.size());
        QCOMPARE(longest, Whole("broadcast {A}|").size() + 65536);
    }
};

QTEST_GUILESS_MAIN(tst_ModemParser)
#include "tst_modemparser.moc"
