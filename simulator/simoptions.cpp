#include "simoptions.h"

#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;

void Fail(int exitCode, const QString& why)
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

namespace {

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

/// Of an option that can be given several times.
QList<Moment> Times(const QCommandLineParser& parser, const QString& option)
{
    QList<Moment> times;
    for (const QString& text : parser.values(option)) {
        bool isNumber = false;
        const int ms = text.toInt(&isNumber);
        if (!isNumber || ms < 0)
            Fail(BadUsage, u"--%1 wants a number of ms, not \"%2\""_s.arg(option, text));
        times += std::chrono::milliseconds(ms);
    }
    return times;
}

void ReadAir(const QCommandLineParser& parser, AirTraits& air)
{
    air.mostHops = static_cast<int>(Number(parser, u"hops"_s, 0, MostHops));
    air.mostOnTheirWay = static_cast<int>(Number(parser, u"on-their-way"_s, 0, 100));
    air.reportLoss = Probability(parser, u"report-loss"_s);
    air.reportLate = Probability(parser, u"report-late"_s);
    air.reportDelay = Milliseconds(parser, u"report-delay"_s);
    if (parser.isSet(u"nack-time"_s))
        air.nackTime = Milliseconds(parser, u"nack-time"_s);
}

void ReadFaults(const QCommandLineParser& parser, ModemFaultTraits& faults)
{
    faults.powerCutEvery = Milliseconds(parser, u"power-cut-every"_s);
    faults.powerCuts = Times(parser, u"power-cut"_s);
    faults.deafEvery = Milliseconds(parser, u"deaf-every"_s);
    faults.deaf = Times(parser, u"deaf"_s);
}

} // namespace

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
        {u"seed"_s, u"Of everything random. The same seed gives the same play (default 1)."_s, u"number"_s, u"1"_s},
        {u"latency"_s, u"From an accepted frame to its delivery (default 150)."_s, u"ms"_s, u"150"_s},
        {u"loss"_s, u"How often a frame vanishes in the air: 0 to 1."_s, u"probability"_s, u"0"_s},
        {u"nack"_s, u"How often a unicast is reported as not delivered."_s, u"probability"_s, u"0"_s},
        {u"fragment"_s, u"How often a line is cut in two."_s, u"probability"_s, u"0"_s},
        {u"fragment-pause"_s, u"The silence inside a line that was cut (default 700)."_s, u"ms"_s, u"700"_s},
        {u"garbage"_s, u"How often random bytes come before a line."_s, u"probability"_s, u"0"_s},
        {u"hops"_s, u"Nodes are 1 to so many hops of 20 to 60 ms away, at most 5; 0: as --latency says (default 0)."_s,
            u"number"_s, u"0"_s},
        {u"on-their-way"_s,
            u"The modem refuses a unicast while so many have no delivery report; 0: never (default 0)."_s, u"number"_s,
            u"0"_s},
        {u"report-loss"_s, u"How often a delivery report never comes."_s, u"probability"_s, u"0"_s},
        {u"report-late"_s, u"How often a delivery report comes late."_s, u"probability"_s, u"0"_s},
        {u"report-delay"_s, u"How late (default 5000)."_s, u"ms"_s, u"5000"_s},
        {u"nack-time"_s, u"From a unicast that reaches nobody to its report (default: as for one that does)."_s,
            u"ms"_s},
        {u"power-cut-every"_s, u"The modem loses its power, and its network, at random: the mean interval; 0: never."_s,
            u"ms"_s, u"0"_s},
        {u"power-cut"_s, u"It does so after so many ms. Can be given several times."_s, u"ms"_s},
        {u"deaf-every"_s, u"The modem is deaf until it is restarted, at random: the mean interval; 0: never."_s,
            u"ms"_s, u"0"_s},
        {u"deaf"_s, u"It is so after so many ms. Can be given several times."_s, u"ms"_s},
        {u"boot-time"_s, u"After a restart or a power cut the modem does not hear for so long (default 500)."_s,
            u"ms"_s, u"500"_s},
        {u"baud"_s, u"Speed of the line (default 19200); 0 for no limit."_s, u"number"_s, u"19200"_s},
        {u"traffic"_s, u"Append every write on the line to this file."_s, u"file"_s},
        {u"replay"_s, u"Play back the modem's side of a recorded traffic file, with its timing."_s, u"file"_s},
    });
}

ModemTraits TraitsOf(const QCommandLineParser& parser)
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
    ReadAir(parser, traits.air);
    ReadFaults(parser, traits.faults);
    traits.bootTime = Milliseconds(parser, u"boot-time"_s);
    return traits;
}
