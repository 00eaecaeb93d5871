// What the hub takes from the bus and from people: whole, cut and hostile.

#include "daemoncommands.h"
#include "eventlog.h"
#include "sweepmessage.h"

#include <QJsonArray>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// As a byte array of the bus.
QByteArray Packed(const QByteArray& bytes)
{
    return QByteArray::fromHex(QByteArray::number(quint32(bytes.size()), 16).rightJustified(8, '0')) + bytes;
}

QByteArray Utf16(const QByteArray& ascii)
{
    QByteArray wide;
    for (const char c : ascii)
        wide += '\0' + QByteArray(1, c);
    return wide;
}

QByteArray Message(const QByteArray& word, const QByteArray& name, const QByteArray& records)
{
    return Packed(word) + Packed(Utf16(name)) + Packed(records);
}

const QByteArray Reading = QByteArray::fromHex("0b000000"
                                               "0000c03f" // 1.5
                                               "0000803f000000000000003f0000c07f")
    + "2014-03-0408:30:00" + QByteArray::fromHex("0000");
const QByteArray Silent = QByteArray::fromHex("f6ffffff") + QByteArray(20, '\0') + "'now'" + QByteArray(5, '\0')
    + "'now'" + QByteArray(3, '\0') + QByteArray::fromHex("ff00");
const QByteArray Clock =
    QByteArray::fromHex("0b000000") + "2014-03-04 08:31:02" + "2014-03-04 08:31" + QByteArray(5, '\0');

/// Everything that was read, in one line.
QString Words(const std::optional<SweepMessage>& message)
{
    if (!message)
        return u"none"_s;
    QString words = (message->kind == SweepMessage::Kind::Readings ? u"readings "_s : u"clocks "_s) + message->fileName;
    for (const SweepReading& row : message->readings) {
        words += u"; %1"_s.arg(row.globalId);
        for (const float energy : row.energyKWh)
            words += u' ' + QString::number(double(energy));
        words += u" %1 %2 %3"_s.arg(row.date, row.time).arg(row.status);
    }
    for (const SweepClock& row : message->clocks)
        words += u"; %1 [%2] [%3]"_s.arg(row.globalId).arg(row.shown, row.asked);
    return message->bytesLeft == 0 ? words : words + u"; %1 left"_s.arg(message->bytesLeft);
}

} // namespace

class tst_Hub : public QObject {
    Q_OBJECT

private slots:
    static void sweeps_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("words");
        const auto name = "a.db"_ba;
        const QString first = u"; 11 1.5 1 0 0.5 nan 2014-03-04 08:30:00 0"_s;
        const QString second = u"; -10 0 0 0 0 0 'now' 'now' 255"_s;
        const QString clock = u"; 11 [2014-03-04 08:31:02] [2014-03-04 08:31]"_s;
        QTest::addRow("readings") << Message("tempdb", name, Reading + Silent) << u"readings a.db"_s + first + second;
        QTest::addRow("clocks") << Message("tempdb_t", name, Clock) << u"clocks a.db"_s + clock;
        QTest::addRow("no records") << Message("tempdb", name, {}) << u"readings a.db"_s;
        QTest::addRow("a null array") << Packed("tempdb") + Packed(Utf16(name)) + QByteArray(4, '\xff')
                                      << u"readings a.db"_s;
        QTest::addRow("half a record") << Message("tempdb", name, Reading + Silent.first(43))
                                       << u"readings a.db"_s + first + u"; 43 left"_s;
        QTest::addRow("cut within the records") << Message("tempdb", name, Reading).chopped(1) << u"readings a.db"_s;
        QTest::addRow("cut within the name") << Packed("tempdb") + Packed(Utf16(name)).chopped(1) << u"readings "_s;
        QTest::addRow("half a character") << Packed("tempdb") + Packed(Utf16(name).chopped(1)) << u"readings a.d"_s;
        QTest::addRow("a name of 2 GB") << Packed("tempdb") + "\x7f\xff\xff\xff" + "x" << u"readings "_s;
        QTest::addRow("bytes behind it") << Message("tempdb_t", name, Clock) + "more" << u"clocks a.db"_s + clock;
        QTest::addRow("another word") << Message("tempdb_x", name, Reading) << u"none"_s;
        QTest::addRow("nothing") << QByteArray() << u"none"_s;
    }
    static void sweeps()
    {
        QFETCH(QByteArray, data);
        QTEST(Words(DecodeSweepMessage(data)), "words");
    }

    static void alarms_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("words");
        QTest::addRow("from the modem") << "1#2014-03-04 08:30:00#ERROR:256#\n"_ba << u"1 2014-03-04 08:30:00 256"_s;
        QTest::addRow("no number") << "x#2014-03-04 08:30:00#ERROR:5#\n"_ba << u"none"_s;
        QTest::addRow("too large") << "9999999999#2014-03-04 08:30:00#ERROR:5#\n"_ba << u"none"_s;
        QTest::addRow("control characters") << "1#2014-03-04\x1b[31m:00#ERROR:5#\n"_ba << u"none"_s;
        QTest::addRow("without an end") << "1#2014-03-04 08:30:00#ERROR:5"_ba << u"none"_s;
    }
    static void alarms()
    {
        QFETCH(QByteArray, text);
        const std::optional<AlarmMessage> alarm = DecodeAlarmMessage(Message("error", "Error-x-1", text));
        QTEST(alarm ? u"%1 %2 %3"_s.arg(QString::number(alarm->globalId), alarm->stamp, QString::number(alarm->code))
                    : u"none"_s,
            "words");
    }

    static void arguments_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QByteArray>("data"); // "-" when it is refused
        const QByteArray refused = "-";
        QTest::addRow("none") << u"Need_query"_s << u""_s << ""_ba;
        QTest::addRow("none wanted") << u"Need_query"_s << u"x"_s << refused;
        QTest::addRow("a node") << u"Reset_KS"_s << u"000D6F00001733Eb"_s << Packed("000D6F00001733Eb");
        QTest::addRow("no node") << u"Reset_KS"_s << u""_s << refused;
        QTest::addRow("15 digits") << u"Reset_KS"_s << u"000D6F00001733E"_s << refused;
        QTest::addRow("17 digits") << u"Reset_KS"_s << u"000D6F00001733EBA"_s << refused;
        QTest::addRow("not hexadecimal") << u"Reset_KS"_s << u"000D6F00001733EG"_s << refused;
        QTest::addRow("digits of another script") << u"Reset_KS"_s << QString(16, QChar(0x0661)) << refused;
        QTest::addRow("another command behind it") << u"Reset_KS"_s << u"000D6F\r\natz\r\n173"_s << refused;
        QTest::addRow("bytes") << u"Write_direct_in_port"_s << u"6174 0D 00fF"_s << Packed("at\r\0\xff"_ba);
        QTest::addRow("half a byte") << u"Write_direct_in_port"_s << u"617 4"_s << refused;
        QTest::addRow("no bytes") << u"Write_direct_in_port"_s << u"  "_s << refused;
        QTest::addRow("most bytes") << u"Write_direct_in_port"_s << u"00"_s.repeated(4096)
                                    << Packed(QByteArray(4096, '\0'));
        QTest::addRow("too many bytes") << u"Write_direct_in_port"_s << u"00"_s.repeated(4097) << refused;
    }
    static void arguments()
    {
        QFETCH(QString, command);
        QFETCH(QString, argument);
        QString reason;
        const auto data = DaemonCommands::EncodeArgument(*DaemonCommands::Find(command), argument, reason);
        QTEST(data.value_or("-"), "data");
        QCOMPARE(reason.endsWith(u'.'), !data);
    }

    static void replies_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QJsonArray>("nodes");
        const auto two = QByteArray::fromHex("00000002") + Packed("A") + Packed("B");
        QTest::addRow("two nodes") << two << QJsonArray{u"A"_s, u"B"_s};
        QTest::addRow("cut") << two.chopped(1) << QJsonArray{u"A"_s};
        QTest::addRow("a count that is too large")
            << QByteArray::fromHex("7fffffff") + Packed("A") << QJsonArray{u"A"_s};
        QTest::addRow("a count below 0") << QByteArray::fromHex("ffffffff") + Packed("A") << QJsonArray{};
    }
    static void replies()
    {
        QFETCH(QByteArray, data);
        QTEST(DaemonCommands::Reply(*DaemonCommands::Find(u"Get_ZDevices"), "ignored", data).toArray(), "nodes");
    }

    /// Events 100 to 105: a sweep, then traffic, of which three are kept, or fewer large ones.
    static void events_data()
    {
        QTest::addColumn<qsizetype>("mostBytes");
        QTest::addColumn<quint64>("since");
        QTest::addColumn<QString>("found");
        QTest::addRow("of the last run") << qsizetype(1000) << quint64(7) << u"100 103 104 105 "_s;
        QTest::addRow("before the first") << qsizetype(1000) << quint64(99) << u"100 103 104 105 "_s;
        QTest::addRow("a gap") << qsizetype(1000) << quint64(100) << u"103 104 105 "_s;
        QTest::addRow("resumed") << qsizetype(1000) << quint64(103) << u"104 105 "_s;
        QTest::addRow("nothing new") << qsizetype(1000) << quint64(105) << u""_s;
        QTest::addRow("never given out") << qsizetype(1000) << quint64(106) << u"100 103 104 105 "_s;
        QTest::addRow("room for two") << qsizetype(14) << quint64(99) << u"100 104 105 "_s;
        QTest::addRow("no room") << qsizetype(1) << quint64(99) << u"100 105 "_s;
    }
    static void events()
    {
        QFETCH(qsizetype, mostBytes);
        QFETCH(quint64, since);
        EventLog log(100, {3, mostBytes}, {1, 1});
        for (int i = 0; i < 6; ++i)
            log.Append(i == 0 ? EventKind::Sweep : EventKind::Traffic, {{u"n"_s, i}}); // 7 bytes
        QString found;
        for (const EventLog::Event& event : log.Since(since))
            found += QString::number(event.id) + u' ';
        QTEST(found, "found");
    }
};

QTEST_GUILESS_MAIN(tst_Hub)

#include "tst_hub.moc"
