// ravelin-sim: a simulated radio modem with its nodes, and the substation's own meter, on pseudo-terminals.
#include "clock.h"
#include "echonode.h"
#include "ending.h"
#include "modemengine.h"
#include "simulatedline.h"
#include "version.h"
#include "virtualsubstation.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>

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
        u"A simulated radio modem on a pseudo-terminal. The serial port appears as the symbolic link DIRECTORY/modem,\n"
        "that of a register's substation meter as DIRECTORY/substation.\n"
        "Runs until SIGTERM or SIGINT and then tells what it did."_s);
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(u"directory"_s, u"Where the serial port appears; made if it is not there."_s);
    parser.addOptions({
        {u"register"_s,
            u"Nodes with the meters of this register instead: an SQLite database, or a CSV file as for ravelinctl. "
            "The meters run by the wall clock."_s,
            u"file"_s},
        {u"scenario"_s,
            u"What goes wrong with a register's meters, see share/scenario.ini.example. What it names overrides the options."_s,
            u"file"_s},
        {u"report"_s, u"Write each meter's answer to this file, as CSV."_s, u"file"_s},
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

void Open(SimulatedLine& line, const QCommandLineParser& parser, const QString& name)
{
    const QString path = parser.positionalArguments().first() + '/'_L1 + name;
    QString error;
    if (!line.Open(path, error))
        Fail(CannotRun, error);
    std::printf("The %s is at %s\n", qUtf8Printable(name), qUtf8Printable(path));
}

/// Runs until the end is requested. Returns how many bytes were lost. `substation` may be null.
qint64 Run(LinePeer& peer, const QCommandLineParser& parser, LinePeer* substation = nullptr)
{
    SimulatedLine line(peer, parser.value(u"traffic"_s));
    std::optional<SimulatedLine> localLine;
    if (substation)
        Open(localLine.emplace(*substation, QString()), parser, u"substation"_s);
    Open(line, parser, u"modem"_s);
    std::fflush(stdout);
    QCoreApplication::exec();
    return line.BytesLost() + (localLine ? localLine->BytesLost() : 0);
}

void PrintTally(const ModemTally& tally, qint64 bytesLost)
{
    std::printf("Lines received %lld, answered %lld, refused %lld, lost while the modem restarted %lld\n"
                "Unicasts delivered %lld, not delivered %lld\n"
                "Answers passed on %lld, frames lost in the air %lld, bytes lost on a full line %lld\n",
        tally.linesReceived, tally.linesAnswered, tally.linesRefused, tally.linesLost, tally.unicastsDelivered,
        tally.unicastsNotDelivered, tally.answersPassedOn, tally.messagesLost, bytesLost);
}

void RunModem(const QCommandLineParser& parser)
{
    ModemEngine modem(Traits(parser));
    AddNodes(modem, parser);
    const qint64 bytesLost = Run(modem, parser);
    PrintTally(modem.Tally(), bytesLost);
}

AnswerReport::Sink OpenReport(QFile& file)
{
    if (file.fileName().isEmpty())
        return {};
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        Fail(CannotRun, u"Cannot write the report %1: %2"_s.arg(file.fileName(), file.errorString()));
    return [&file](const QByteArray& line) {
        if (file.write(line + '\n') != line.size() + 1)
            Fail(CannotRun, u"Cannot write the report %1: %2"_s.arg(file.fileName(), file.errorString()));
    };
}

void RunRegister(const QCommandLineParser& parser)
{
    QString error;
    const auto meters = ReadRegister(parser.value(u"register"_s), error);
    if (!meters)
        Fail(CannotRun, error);
    std::optional<Scenario> scenario(std::in_place);
    scenario->modem = Traits(parser);
    if (parser.isSet(u"scenario"_s))
        scenario = ReadScenario(parser.value(u"scenario"_s), *scenario, error);
    if (!scenario)
        Fail(CannotRun, error);
    if (const QByteArrayList unknown = UnknownNodes(*meters, *scenario); !unknown.isEmpty())
        Fail(CannotRun, u"The register has no node of the scenario's: %1"_s.arg(QString::fromUtf8(unknown.join(' '))));

    QFile reportFile(parser.value(u"report"_s));
    AnswerReport report(OpenReport(reportFile));
    VirtualSubstation substation(*meters, *scenario, CurrentDateTime(), report);
    const qint64 bytesLost = Run(substation.Modem(), parser, substation.LocalLine());
    PrintTally(substation.Modem().Tally(), bytesLost);
    for (const QByteArray& line : report.Summary())
        std::printf("%s\n", line.constData());
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

    if (!parser.isSet(u"register"_s) && (parser.isSet(u"scenario"_s) || parser.isSet(u"report"_s)))
        Fail(BadUsage, u"--scenario and --report want a --register"_s);

    Ending::InstallSignalHandlers();
    if (parser.isSet(u"replay"_s))
        RunReplay(parser);
    else if (parser.isSet(u"register"_s))
        RunRegister(parser);
    else
        RunModem(parser);
    return 0;
}
