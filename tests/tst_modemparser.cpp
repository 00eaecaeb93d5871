#include "modemparser.h"
#include "zdevice.h"

#include <QTest>

#include <random>

using namespace Qt::StringLiterals;

using Lines = QList<QByteArray>;

namespace {

constexpr auto A = "000D6F00001733EB";
constexpr auto B = "000D6F0000AAAAAA";

struct Describe {
    Lines& lines;
    ZDevice& table;

    void operator()(const ModemEvent::NodeFound& e)
    {
        table.AddDevice(e.uin, e.type);
        lines.append("new " + e.uin + ' ' + QByteArray(e.type.data(), e.type.size()));
    }
    void operator()(const ModemEvent::Unicast& e) { lines.append("unicast " + e.uin + '|' + e.payload); }
    void operator()(const ModemEvent::Broadcast& e) { lines.append("broadcast " + e.uin + '|' + e.payload); }
    void operator()(ModemEvent::Delivered e) { lines.append("ack " + QByteArray::number(e.number)); }
    void operator()(ModemEvent::NotDelivered e) { lines.append("nack " + QByteArray::number(e.number)); }
    void operator()(ModemEvent::Accepted e) { lines.append("accepted " + QByteArray::number(e.number)); }
    void operator()(ModemEvent::Refused e) { lines.append("refused " + QByteArray::number(e.code)); }
};

/// The events of `chunk` with a table that starts with the modem "000D6F0000000001" and the node `A`.
Lines Events(const QByteArray& chunk, int polls = 1)
{
    ZDevice table("000D6F0000000001"_ba, u"Main Device"_s);
    table.AddDevice(A, u"FFD:"_s);
    Lines lines;
    for (int i = 0; i < polls; ++i)
        ParseModemChunk(
            chunk, [&](const QByteArray& uin) { return table.Find(uin) != nullptr; },
            [&](const ModemEvent::Any& event) {
                std::visit(Describe{lines, table}, event);
            });
    table.DeleteAllDevices();
    return lines;
}

/// `text` with {A} and {B} replaced by the addresses.
QByteArray Chunk(QByteArray text)
{
    return text.replace("{A}", A).replace("{B}", B);
}

Lines Expected(const Lines& lines)
{
    Lines expected;
    for (const QByteArray& line : lines)
        expected.append(Chunk(line));
    return expected;
}

} // namespace

class tst_ModemParser : public QObject {
    Q_OBJECT

private slots:
    void events_data();
    void events();
    void allZeroAddressAtEveryScan();
    void hugeAndHostile();
    void nestedBroadcastsStayBounded();
};

void tst_ModemParser::events_data()
{
    QTest::addColumn<QByteArray>("chunk");
    QTest::addColumn<Lines>("events");
    const auto row = [](const char* name, const QByteArray& chunk, const Lines& events) {
        QTest::addRow("%s", name) << Chunk(chunk) << Expected(events);
    };

    row("empty", "", {});
    row("scan: known node", "\r\nFFD:{A}\r\n", {});
    row("scan: full-function device", "\r\nFFD:{B}\r\n", {"new {B} FFD:"});
    row("scan: coordinator", "COO:{B}", {"new {B} COO:"});
    row("scan: sleeping end device", "SED:{B}", {"new {B} SED:"});
    row("scan: the modem's own address is a node like any other", "FFD:000D6F0000000001",
        {"new 000D6F0000000001 FFD:"});
    row("scan: 15 characters", "FFD:000D6F0000AAAAA", {});
    row("scan: line end inside the address is taken as it is", "FFD:000D6F0000AAAA\r\n",
        {"new 000D6F0000AAAA\r\n FFD:"});
    row("scan: zero bytes in the address", "FFD:000D6F00"_ba + QByteArray(8, '\0'),
        {"new 000D6F00"_ba + QByteArray(8, '\0') + " FFD:"});
    row("scan: type of the first tag in table order", "SED:{B}\r\nFFD:{B}\r\n", {"new {B} FFD:"});
    row("joined", "\r\nNEWNODE: {B}\r\n", {"new {B} NEWNODE: "});
    row("joined: blank is part of the tag", "\r\nNEWNODE:{B}\r\n", {});
    row("tag twice in a row", "FFD:FFD:{B}", {"new FFD:000D6F0000AA FFD:", "new {B} FFD:"});

    row("unicast: binary", "\r\nUCAST:{A},05:abcde\r\n", {"unicast {A}|abcde"});
    row("unicast: 5 raw bytes, CR LF and zero among them", "\r\nUCAST:{A},05="_ba + "\xC0\0\r\n\xC1"_ba.append("\r\n"),
        {"unicast {A}|"_ba + "\xC0\0\r\n\xC1"_ba});
    row("unicast: unknown node", "\r\nUCAST:{B},01:x", {"new {B} NEWNODE", "unicast {B}|x"});
    row("unicast: not at the very start of a chunk", "UCAST:{A},01:x\r\n", {});
    row("unicast: not after a lone LF", "\nUCAST:{A},01:x\r\n", {});
    row("unicast: address cut", "\r\nUCAST:000D6F", {"unicast 000D6F|"});
    row("unicast: no address", "\r\nUCAST:", {"unicast |"});
    row("unicast: neither form", "\r\nUCAST:{A};05:abcde", {"unicast {A}|"});
    row("unicast: chunk ends behind the address", "\r\nUCAST:{A}", {"unicast {A}|"});
    row("unicast: length 0", "\r\nUCAST:{A},00:\r\n", {"unicast {A}|"});
    row("unicast: length in lower case", "\r\nUCAST:{A},0a:0123456789\r\n", {"unicast {A}|0123456789"});
    row("unicast: length 127", "\r\nUCAST:{A},7F:"_ba + QByteArray(127, 'x') + "\r\n",
        {"unicast {A}|"_ba + QByteArray(127, 'x')});
    row("unicast: length 128 is negative, no bytes", "\r\nUCAST:{A},80:"_ba + QByteArray(128, 'x') + "\r\n",
        {"unicast {A}|"});
    row("unicast: length 255 is negative, no bytes", "\r\nUCAST:{A},FF:"_ba + QByteArray(255, 'x') + "\r\n",
        {"unicast {A}|"});
    row("unicast: length is no number, no bytes", "\r\nUCAST:{A},zz:abc\r\n", {"unicast {A}|"});
    row("unicast: more announced than present, the chunk's last bytes", "\r\nUCAST:{A},05:abc", {"unicast {A}|5:abc"});
    row("unicast: chunk ends inside the length", "\r\nUCAST:{A},0", {"unicast {A}|"});
    row("unicast: chunk ends behind the length, the chunk's last bytes", "\r\nUCAST:{A},03", {"unicast {A}|,03"});
    row("unicast: more announced than the whole chunk", "\r\nUCAST:{A},7F:ab", {"unicast {A}|\r\nUCAST:{A},7F:ab"});
    row("unicast: text", "\r\nUCAST:{A}=text\r\n", {"unicast {A}|text"});
    row("unicast: text up to a lone LF", "\r\nUCAST:{A}=te\nxt\r\n", {"unicast {A}|te"});
    row("unicast: empty text", "\r\nUCAST:{A}=\r\n", {"unicast {A}|"});
    row("unicast: text cut", "\r\nUCAST:{A}=tex", {"unicast {A}|tex"});
    row("unicast: text with zero byte", "\r\nUCAST:{A}=t\0t\r\n"_ba, {"unicast {A}|t\0t"_ba});

    row("broadcast: binary", "\r\nBCAST:{A},02:hi\r\n", {"broadcast {A}|hi"});
    row("broadcast: at the very start of a chunk", "BCAST:{A},02:hi\r\n", {"broadcast {A}|hi"});
    row("broadcast: inside a line", "xBCAST:{B}=hi\r\n", {"new {B} NEWNODE", "broadcast {B}|hi"});

    row("carry-over: second text is added to the first", "\r\nUCAST:{A}=one\r\n\r\nUCAST:{A}=two\r\n",
        {"unicast {A}|one", "unicast {A}|onetwo"});
    row("carry-over: binary replaces", "\r\nUCAST:{A}=one\r\n\r\nUCAST:{A},03:two\r\n",
        {"unicast {A}|one", "unicast {A}|two"});
    row("carry-over: text is added to binary", "\r\nUCAST:{A},03:one\r\n\r\nUCAST:{A}=two\r\n",
        {"unicast {A}|one", "unicast {A}|onetwo"});
    row("carry-over: neither form repeats", "\r\nUCAST:{A},03:one\r\n\r\nUCAST:{A}\r\n",
        {"unicast {A}|one", "unicast {A}|one"});
    row("carry-over: unreadable length empties", "\r\nUCAST:{A}=one\r\n\r\nUCAST:{A},??:two\r\n",
        {"unicast {A}|one", "unicast {A}|"});
    row("carry-over: from unicasts to broadcasts, whichever came first", "\r\nBCAST:{A}=one\r\n\r\nUCAST:{A}=two\r\n",
        {"unicast {A}|two", "broadcast {A}|twoone"});

    row("ACK", "\r\nACK:03\r\n", {"ack 3"});
    row("NACK", "NACK:03\r\n", {"nack 3"});
    row("ACK at the very start of a chunk", "ACK:03\r\n", {});
    row("ACK behind CR", "\rACK:03\r\n", {});
    row("ACK behind lower-case n", "nACK:03\r\n", {});
    row("ACK at the very end: number cut to one digit", "\nACK:1", {"ack 1"});
    row("ACK without number", "\nACK:", {});
    row("ACK with letters", "\nACK:0x\r\n", {});
    row("ACK 99", "\nACK:99\r\n", {"ack 99"});
    row("accepted", "\r\n+UCASTB:07\r\n", {"accepted 7"});
    row("accepted at the very start", "+UCASTB:07", {"accepted 7"});
    row("accepted without plus", "UCASTB:07", {});
    row("accepted with hexadecimal digits", "+UCASTB:1A", {});
    row("refused", "ERROR:1A\r\n", {"refused 26"});
    row("refused: lower case", "ERROR:ff\r\n", {"refused 255"});
    row("refused: no number", "ERROR:\r\n", {});

    row("events in tag order, nodes known to later ones",
        "\r\nERROR:02\r\n\r\n+UCASTB:01\r\n\r\nACK:01\r\nNACK:02\r\n\r\nBCAST:{B}=b\r\n\r\nUCAST:{B},01:u\r\n\r\n"
        "NEWNODE: {B}\r\nSED:{B}\r\nCOO:0000000000000002\r\nFFD:{A}\r\n",
        {"new 0000000000000002 COO:", "new {B} SED:", "unicast {B}|u", "broadcast {B}|ub", "ack 1", "nack 2",
            "accepted 1", "refused 2"});
    row("tags inside a payload are seen too", "\r\nUCAST:{A},0A:FFD:NACK:5", {"unicast {A}|FFD:NACK:5", "nack 5"});
}

void tst_ModemParser::events()
{
    QFETCH(QByteArray, chunk);
    QTEST(Events(chunk), "events");
}

void tst_ModemParser::allZeroAddressAtEveryScan()
{
    QCOMPARE(Events("\r\nFFD:0000000000000000\r\n\r\nFFD:000D6F0000AAAAAA\r\n"_ba, 2),
        (Lines{"new 0000000000000000 FFD:", "new 000D6F0000AAAAAA FFD:", "new 0000000000000000 FFD:"}));
}

// A chunk of its exact size on the heap, so that a sanitizer sees a read behind its end.
void tst_ModemParser::hugeAndHostile()
{
    const QByteArray session = Chunk("\r\nFFD:{B}\r\n\r\nUCAST:{A},05:abcde\r\n\r\nUCAST:{B}=text\r\nBCAST:{A},7F:x\r\n"
                                     "\r\nNEWNODE: {B}\r\n\r\n+UCASTB:07\r\n\r\nACK:07\r\nNACK:08\r\n\r\nERROR:1A\r\n");
    for (qsizetype cut = 0; cut <= session.size(); ++cut) {
        const std::vector<char> head(session.cbegin(), session.cbegin() + cut);
        const std::vector<char> tail(session.cbegin() + cut, session.cend());
        (void)Events(QByteArray::fromRawData(head.data(), cut));
        (void)Events(QByteArray::fromRawData(tail.data(), session.size() - cut));
    }
    QCOMPARE(Events(session).size(), 8);

    std::mt19937 random(1);
    QByteArray noise(2'000'000, Qt::Uninitialized);
    for (char& byte : noise)
        byte = static_cast<char>(random());
    QCOMPARE(Events(noise), Lines());
}

void tst_ModemParser::nestedBroadcastsStayBounded()
{
    const QByteArray nested = Chunk("BCAST:{A}=").repeated(10'000);
    qsizetype longest = 0;
    ParseModemChunk(
        nested, [](const QByteArray&) { return true; },
        [&](const ModemEvent::Any& event) {
            longest = std::max(longest, std::get<ModemEvent::Broadcast>(event).payload.size());
        });
    QCOMPARE(longest, 65536);
}

QTEST_GUILESS_MAIN(tst_ModemParser)
#include "tst_modemparser.moc"
