// ravelin-sim: a simulated radio modem with its nodes, and the substation's own meter, on pseudo-terminals.
#include "clock.h"
#include "echonode.h"
#include "ending.h"
#include "replay.h"
#include "simoptions.h"
#include "simulatedline.h"
#include "version.h"
#include "virtualsubstation.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

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

void PrintTally(const ModemEngine& modem, qint64 bytesLost)
{
    const ModemTally& tally = modem.Tally();
    std::printf("Lines received %lld, answered %lld, refused %lld, lost while the modem restarted %lld\n"
                "Unicasts delivered %lld, not delivered %lld\n"
                "Answers passed on %lld, frames lost in the air %lld, bytes lost on a full line %lld\n",
        tally.linesReceived, tally.linesAnswered, tally.linesRefused, tally.linesLost, tally.unicastsDelivered,
        tally.unicastsNotDelivered, tally.answersPassedOn, tally.messagesLost, bytesLost);
    if (modem.Traits().air.AnyOn())
        std::printf("Unicasts refused by the limit %lld, delivery reports lost %lld, late %lld\n", tally.refusedByLimit,
            tally.reportsLost, tally.reportsLate);
    if (modem.Traits().faults.AnyOn())
        std::printf("Power cuts %lld, times deaf %lld, lines ignored while deaf %lld\n", tally.powerCuts,
            tally.timesDeaf, tally.linesIgnored);
}

void RunModem(const QCommandLineParser& parser)
{
    ModemEngine modem(TraitsOf(parser));
    AddNodes(modem, parser);
    const qint64 bytesLost = Run(modem, parser);
    PrintTally(modem, bytesLost);
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
    scenario->modem = TraitsOf(parser);
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
    PrintTally(substation.Modem(), bytesLost);
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
