// ravelin-sim: a simulated radio modem with its nodes on a pseudo-terminal.
#include "echonode.h"
#include "ending.h"
#include "modemengine.h"
#include "simulatedline.h"
#include "version.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr int BadUsage = 2;
constexpr int CannotRun = 1;

[[noreturn]] void Fail(int exitCode, const QString& why)
{
    std::fprintf(stderr, "ravelin-sim: %s\n", qUtf8Printable(why));
    std::exit(exitCode);
}

qint64 Number(const QCommandLineParser& parser, const QString& option, qint64 least, qint64 most)
{
    bool isNumber = false;
    const qint64 number = parser.value(option).toLongLong(&isNumber);
    if (!isNumber || number < least || number > most)
        Fail(BadUsage,
            u"--%1 wants a whole number from %2 to %3, not \"%4\""_s.arg(option).arg(least).arg(most).arg(
                parser.value(option)));
    return number;
}

double Probability(const QCommandLineParser& parser, const QString& option)
{
    bool isNumber = false;
    const double number = parser.value(option).toDouble(&isNumber);
    if (!isNumber || !(number >= 0 && number <= 1))
        Fail(BadUsage, u"--%1 wants a number from 0 to 1, not \"%2\""_s.arg(option, parser.value(option)));
    return number;
}

Moment Milliseconds(const QCommandLineParser& parser, const QString& option)
{
    return std::chrono::milliseconds(Number(parser, option, 0, 86'400'000));
}

void DescribeOptions(QCommandLineParser& parser)
{
    parser.setApplicationDescription(
        u"A simulated radio modem on a pseudo-terminal. The serial port appears as the symbolic link DIRECTORY/modem.\n"
        "Runs until SIGTERM or SIGINT and then tells what it did."_s);
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(u"directory"_s, u"Where the serial port appears; made if it is not there."_s);
    parser.addOptions({
        {u"nodes"_s, u"Nodes on the network, which send back what they get (default 10)."_s, u"number"_s, u"10"_s},
        {u"join"_s, u"One more node joins after so many seconds. Can be given several times."_s, u"seconds"_s},
        {u"uin"_s, u"The modem's address: 16 characters (default 000D6F0000000001)."_s, u"address"_s,
            u"000D6F0000000001"_s},
        {u"firmware"_s, u"The modem's firmware number: 3 characters (default 123)."_s, u"number"_s, u"123"_s},
        {u"seed"_s, u"Of everything random. The same seed gives the same session (default 1)."_s, u"number"_s, u"1"_s},
        {u"latency"_s, u"From an accepted frame to its delivery (default 150)."_s, u"ms"_s, u"150"_s},
        {u"loss"_s, u"How often a frame vanishes in the air: 0 to 1."_s, u"probability"_s, u"0"_s},
        {u"nack"_s, u"How often a unicast is reported as not delivered."_s, u"probability"_s, u"0"_s},
        {u"fragment"_s, u"How often a line is cut in two."_s, u"probability"_s, u"0"_s},
        {u"fragment-pause"_s, u"The silence inside a line that was cut (default 700)."_s, u"ms"_s, u"700"_s},
        {u"garbage"_s, u"How often random bytes come before a line."_s, u"probability"_s, u"0"_s},
        {u"baud"_s, u"Speed of the line (default 19200); 0 for no limit."_s, u"number"_s, u"19200"_s},
        {u"traffic"_s, u"Append every write on the line to this file."_s, u"file"_s},
        {u"replay"_s, u"Play back the modem's side of a recorded traffic file, with its timing."_s, u"file"_s},
    });
}

ModemTraits Traits(const QCommandLineParser& parser)
{
    ModemTraits traits;
    traits.uin = parser.value(u"uin"_s).toLatin1();
    if (traits.uin.size() != 16)
        Fail(BadUsage, u"--uin wants 16 characters"_s);
    traits.version = parser.value(u"firmware"_s).toLatin1();
    if (traits.version.size() != 3)
        Fail(BadUsage, u"--firmware wants 3 characters"_s);
    traits.seed = static_cast<quint32>(Number(parser, u"seed"_s, 0, 0xFFFFFFFF));
    traits.baud = static_cast<int>(Number(parser, u"baud"_s, 0, 4'000'000));
    traits.latency = Milliseconds(parser, u"latency"_s);
    traits.loss = Probability(parser, u"loss"_s);
    traits.nack = Probability(parser, u"nack"_s);
    traits.garbage = Probability(parser, u"garbage"_s);
    traits.fragmentation = Probability(parser, u"fragment"_s);
    traits.fragmentPause = Milliseconds(parser, u"fragment-pause"_s);
    return traits;
}

QByteArray NodeAddress(int number)
{
    return "000D6F00" + QByteArray::number(0x1000 + number, 16).toUpper().rightJustified(8, '0');
}

void AddNodes(ModemEngine& modem, const QCommandLineParser& parser)
{
    auto count = static_cast<int>(Number(parser, u"nodes"_s, 0, 10'000));
    for (int i = 0; i < count; ++i)
        modem.AddNode(NodeAddress(i), "FFD:"_ba, std::make_unique<EchoNode>());
    for (const QString& seconds : parser.values(u"join"_s)) {
        bool isNumber = false;
        const int when = seconds.toInt(&isNumber);
        if (!isNumber || when < 0)
            Fail(BadUsage, u"--join wants a number of seconds, not \"%1\""_s.arg(seconds));
        modem.JoinNode(NodeAddress(count++), "FFD:"_ba, std::make_unique<EchoNode>(), std::chrono::seconds(when));
    }
}

/// Until the end is asked for. Returns the bytes lost.
qint64 Run(LinePeer& peer, const QCommandLineParser& parser)
{
    SimulatedLine line(peer, parser.value(u"traffic"_s));
    const QString path = parser.positionalArguments().first() + "/modem"_L1;
    QString error;
    if (!line.Open(path, error))
        Fail(CannotRun, error);
    std::printf("The modem is at %s\n", qUtf8Printable(path));
    std::fflush(stdout);
    QCoreApplication::exec();
    return line.BytesLost();
}

void RunModem(const QCommandLineParser& parser)
{
    ModemEngine modem(Traits(parser));
    AddNodes(modem, parser);
    const qint64 bytesLost = Run(modem, parser);
    const ModemTally& tally = modem.Tally();
    std::printf("Lines received %lld, answered %lld, refused %lld, lost while the modem restarted %lld\n"
                "Unicasts delivered %lld, not delivered %lld\n"
                "Answers passed on %lld, frames lost in the air %lld, bytes lost on a full line %lld\n",
        tally.linesReceived, tally.linesAnswered, tally.linesRefused, tally.linesLost, tally.unicastsDelivered,
        tally.unicastsNotDelivered, tally.answersPassedOn, tally.messagesLost, bytesLost);
}

void RunReplay(const QCommandLineParser& parser)
{
    QString error;
    const auto recording = ReadTraffic(parser.value(u"replay"_s), error);
    if (!recording)
        Fail(CannotRun, error);
    Replay replay(*recording);
    const qint64 bytesLost = Run(replay, parser);
    std::printf("Writes played %lld of %lld, bytes lost on a full line %lld\n", static_cast<long long>(replay.Played()),
        static_cast<long long>(replay.Size()), bytesLost);
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(getTesselVersion());
    QCommandLineParser parser;
    DescribeOptions(parser);
    parser.process(application);
    if (parser.positionalArguments().size() != 1)
        Fail(BadUsage, u"one directory is needed, see --help"_s);

    Ending::InstallSignalHandlers();
    if (parser.isSet(u"replay"_s))
        RunReplay(parser);
    else
        RunModem(parser);
    return 0;
}
