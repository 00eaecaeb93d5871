#include "scenario.h"

#include <QFile>

#include <algorithm>
#include <cmath>
#include <span>

using namespace Qt::StringLiterals;

namespace {

// Read(): false, and nothing changed, when `text` is not a value of the kind.

bool Read(const QByteArray& text, bool& value)
{
    if (text != "yes" && text != "no")
        return false;
    value = text == "yes";
    return true;
}

bool Read(const QByteArray& text, std::optional<double>& value)
{
    bool isNumber = false;
    const double number = text.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(number))
        return false;
    value = number;
    return true;
}

bool Read(const QByteArray& text, double& value)
{
    std::optional<double> number;
    if (!Read(text, number))
        return false;
    value = *number;
    return true;
}

bool ReadProbability(const QByteArray& text, double& value)
{
    double number = -1;
    if (!Read(text, number) || number < 0 || number > 1)
        return false;
    value = number;
    return true;
}

template <typename Integer>
bool Read(const QByteArray& text, Integer& value, qint64 least, qint64 most)
{
    bool isNumber = false;
    const qint64 number = text.toLongLong(&isNumber);
    if (!isNumber || number < least || number > most)
        return false;
    value = static_cast<Integer>(number);
    return true;
}

bool Read(const QByteArray& text, Moment& value)
{
    qint64 ms = 0;
    if (!Read(text, ms, 0, 86'400'000))
        return false;
    value = std::chrono::milliseconds(ms);
    return true;
}

bool Read(const QByteArray& text, std::optional<Moment>& value)
{
    Moment time{0};
    if (!Read(text, time))
        return false;
    value = time;
    return true;
}

bool Read(const QByteArray& text, Flaw& value)
{
    for (const Flaw flaw : {Flaw::Checksum, Flaw::Garbage, Flaw::Half})
        if (text == FlawName(flaw)) {
            value = flaw;
            return true;
        }
    return false;
}

bool Read(const QByteArray& text, QList<QDateTime>& times)
{
    const QByteArrayList words = text.split(',');
    return std::all_of(words.begin(), words.end(), [&](const QByteArray& word) {
        times.append(QDateTime::fromString(QString::fromLatin1(word.trimmed()), u"yyyy-MM-dd HH:mm:ss"_s));
        return times.last().isValid();
    });
}

/// "from to until", separated by commas.
bool Read(const QByteArray& text, QList<Span>& spans)
{
    const QByteArrayList words = text.split(',');
    return std::all_of(words.begin(), words.end(), [&](const QByteArray& word) {
        QList<QDateTime> ends;
        if (!Read(QByteArray(word).replace(" to ", ","), ends) || ends.size() != 2 || ends[0] >= ends[1])
            return false;
        spans.append({ends[0], ends[1]});
        return true;
    });
}

bool ReadHops(const QByteArray& text, std::optional<int>& value)
{
    int hops = 0;
    if (!Read(text, hops, 1, MostHops))
        return false;
    value = hops;
    return true;
}

template <typename Target>
struct Key {
    QByteArrayView name;
    bool (*read)(const QByteArray& text, Target& target);
};

constexpr std::array<Key<Scenario>, 19> AllKeys{{
    {"seed", [](const QByteArray& text, Scenario& all) { return Read(text, all.modem.seed, 0, 0xFFFFFFFF); }},
    {"latency", [](const QByteArray& text, Scenario& all) { return Read(text, all.modem.latency); }},
    {"loss", [](const QByteArray& text, Scenario& all) { return ReadProbability(text, all.modem.loss); }},
    {"nack", [](const QByteArray& text, Scenario& all) { return ReadProbability(text, all.modem.nack); }},
    {"garbage", [](const QByteArray& text, Scenario& all) { return ReadProbability(text, all.modem.garbage); }},
    {"fragment", [](const QByteArray& text, Scenario& all) { return ReadProbability(text, all.modem.fragmentation); }},
    {"fragment-pause", [](const QByteArray& text, Scenario& all) { return Read(text, all.modem.fragmentPause); }},
    {"drift", [](const QByteArray& text, Scenario& all) { return Read(text, all.driftPpm); }},
    {"hops", [](const QByteArray& text, Scenario& all) { return Read(text, all.modem.air.mostHops, 0, MostHops); }},
    {"on-their-way",
        [](const QByteArray& text, Scenario& all) { return Read(text, all.modem.air.mostOnTheirWay, 0, 100); }},
    {"report-loss",
        [](const QByteArray& text, Scenario& all) { return ReadProbability(text, all.modem.air.reportLoss); }},
    {"report-late",
        [](const QByteArray& text, Scenario& all) { return ReadProbability(text, all.modem.air.reportLate); }},
    {"report-delay", [](const QByteArray& text, Scenario& all) { return Read(text, all.modem.air.reportDelay); }},
    {"nack-time", [](const QByteArray& text, Scenario& all) { return Read(text, all.modem.air.nackTime); }},
    {"power-cut-every",
        [](const QByteArray& text, Scenario& all) { return Read(text, all.modem.faults.powerCutEvery); }},
    {"power-cut", [](const QByteArray& text, Scenario& all) { return Read(text, all.powerCuts); }},
    {"deaf-every", [](const QByteArray& text, Scenario& all) { return Read(text, all.modem.faults.deafEvery); }},
    {"deaf", [](const QByteArray& text, Scenario& all) { return Read(text, all.deaf); }},
    {"boot-time", [](const QByteArray& text, Scenario& all) { return Read(text, all.modem.bootTime); }},
}};

constexpr std::array<Key<NodeFaults>, 14> NodeKeys{{
    {"silent", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.silent); }},
    {"silence", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.silences); }},
    {"exchanged", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.registers.exchanged); }},
    {"jump", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.registers.jumps); }},
    {"stuck", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.registers.stuck); }},
    {"every", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.every, 1, 1'000'000); }},
    {"late", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.late); }},
    {"undecodable", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.undecodable); }},
    {"pieces", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.pieces, 1, 9); }},
    {"glued", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.glued); }},
    {"nack", [](const QByteArray& text, NodeFaults& node) { return ReadProbability(text, node.nack); }},
    {"hops", [](const QByteArray& text, NodeFaults& node) { return ReadHops(text, node.hops); }},
    {"alarm", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.alarms); }},
    {"drift", [](const QByteArray& text, NodeFaults& node) { return Read(text, node.driftPpm); }},
}};

constexpr std::array<Key<SubstationFaults>, 5> SubstationKeys{{
    {"silent", [](const QByteArray& text, SubstationFaults& meter) { return Read(text, meter.silent); }},
    {"silence", [](const QByteArray& text, SubstationFaults& meter) { return Read(text, meter.silences); }},
    {"garbage", [](const QByteArray& text, SubstationFaults& meter) { return Read(text, meter.garbage); }},
    {"unanswered",
        [](const QByteArray& text, SubstationFaults& meter) { return Read(text, meter.unanswered, 0, 1'000'000); }},
    {"drift", [](const QByteArray& text, SubstationFaults& meter) { return Read(text, meter.driftPpm); }},
}};

template <typename Target>
bool Set(std::span<const Key<Target>> keys, const QByteArray& name, const QByteArray& text, Target& target)
{
    const auto key =
        std::find_if(keys.begin(), keys.end(), [&](const Key<Target>& candidate) { return candidate.name == name; });
    return key != keys.end() && key->read(text, target);
}

/// The section that the lines belong to: its `name` and, of "node", the UIN.
struct Section {
    QByteArray name;
    QByteArray uin;
};

std::optional<Section> SectionOf(const QByteArray& line)
{
    const QByteArrayList words = line.sliced(1).chopped(1).simplified().split(' ');
    const bool alone = words.size() == 1 && (words.first() == "all" || words.first() == "substation");
    const bool node = words.size() == 2 && words.first() == "node" && words.last().size() == 16;
    return alone || node ? std::optional(Section{words.first(), node ? words.last() : QByteArray()}) : std::nullopt;
}

bool SetInSection(const Section& section, const QByteArray& name, const QByteArray& text, Scenario& scenario)
{
    if (section.name == "all")
        return Set<Scenario>(AllKeys, name, text, scenario);
    if (section.name == "substation")
        return Set<SubstationFaults>(SubstationKeys, name, text, scenario.substation);
    return section.name == "node" && Set<NodeFaults>(NodeKeys, name, text, scenario.nodes[section.uin]);
}

} // namespace

std::optional<Scenario> ParseScenario(const QByteArray& text, Scenario scenario, QString& error)
{
    Section section;
    int number = 0;
    for (const QByteArray& untrimmed : text.split('\n')) {
        ++number;
        const QByteArray line = untrimmed.trimmed();
        if (line.isEmpty() || line.startsWith('#') || line.startsWith(';'))
            continue;
        bool good = false;
        if (line.startsWith('[') && line.endsWith(']')) {
            const std::optional<Section> next = SectionOf(line);
            good = next.has_value();
            section = next.value_or(Section());
        } else if (const qsizetype equals = line.indexOf('='); equals > 0) {
            good = SetInSection(section, line.first(equals).trimmed(), line.sliced(equals + 1).trimmed(), scenario);
        }
        if (!good) {
            error =
                u"line %1 of the scenario is not understood: %2"_s.arg(number).arg(QString::fromUtf8(line.left(80)));
            return std::nullopt;
        }
    }
    return scenario;
}

std::optional<Scenario> ReadScenario(const QString& path, Scenario defaults, QString& error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = u"Cannot read the scenario %1: %2"_s.arg(path, file.errorString());
        return std::nullopt;
    }
    return ParseScenario(file.readAll(), std::move(defaults), error);
}
