// A sweep without rows, or in which no node was read, is explained as a whole: it neither begins nor ends the silence
// of a single node.

#include "incidents.h"

#include <algorithm>

using Kind = Incident::Kind;

namespace {

bool IsNode(const LedgerMeter& meter)
{
    return !meter.isSubstation && meter.inRegister && meter.answersStored;
}

/// Sets of places that grow together.
class Union final {
public:
    qsizetype RootOf(qsizetype place)
    {
        qsizetype root = place;
        while (parents.value(root, root) != root)
            root = parents.value(root);
        parents.insert(place, root);
        return root;
    }

    void Join(qsizetype a, qsizetype b) { parents.insert(RootOf(a), RootOf(b)); }

private:
    QHash<qsizetype, qsizetype> parents;
};

} // namespace

void Incidents::Silences::Silent(qsizetype sweep)
{
    if (!isOpen)
        stretches.append({.first = sweep, .last = sweep, .sweeps = 0});
    isOpen = true;
    stretches.last().last = sweep;
    ++stretches.last().sweeps;
}

void Incidents::Silences::Read()
{
    isOpen = false;
}

void Incidents::Add(const SweepOutcome& outcome, const QList<LedgerMeter>& meters)
{
    if (!outcome.IsExpected())
        return;
    const qsizetype sweep = due.size();
    due.append(outcome.due.at);
    const Whole whole = outcome.stamps.isEmpty() ? Whole::NoRows : LookAtNodes(outcome, meters);
    wholes.append(whole);
    if (whole == Whole::NoRows)
        noRows.Silent(sweep);
    else
        noRows.Read();
    if (whole == Whole::Deaf)
        deaf.Silent(sweep);
    else if (whole == Whole::Nothing)
        deaf.Read();

    for (qsizetype place = 0; place < outcome.meters.size(); ++place) {
        const MeterOutcome& meter = outcome.meters[place];
        if (!meter.isExpected || !meter.HasRow() || !meters[place].inRegister)
            continue;
        const bool isSubstation = meters[place].isSubstation;
        if (!isSubstation && (whole != Whole::Nothing || !IsNode(meters[place])))
            continue;
        if (isSubstation && !substations.contains(place))
            substations.append(place);
        Silences& silences = isSubstation ? substation : nodes[place];
        if (meter.read > 0)
            silences.Read();
        else
            silences.Silent(sweep);
    }
}

/// A tenth of the nodes without any row: the sweep was not finished, and the rest tells nothing of the modem.
Incidents::Whole Incidents::LookAtNodes(const SweepOutcome& outcome, const QList<LedgerMeter>& meters)
{
    int expected = 0;
    int withoutRow = 0;
    int read = 0;
    for (qsizetype place = 0; place < outcome.meters.size(); ++place) {
        const MeterOutcome& meter = outcome.meters[place];
        if (!meter.isExpected || !IsNode(meters[place]))
            continue;
        nodes[place]; // is known from now on
        ++expected;
        withoutRow += meter.HasRow() ? 0 : 1;
        read += meter.read > 0 ? 1 : 0;
    }
    if (withoutRow > 0 && 10 * withoutRow >= expected)
        return Whole::NoRows;
    return expected >= 2 && read == 0 ? Whole::Deaf : Whole::Nothing;
}

QList<Incident> Incidents::Findings() const
{
    QList<Incident> findings;
    AddWholes(findings);
    ByPlace stretches = NodeStretches();
    for (const auto& take : {&Incidents::TakeRecurringGroups, &Incidents::TakeSingleGroups})
        for (const Group& group : (this->*take)(stretches)) {
            findings.append(FindingOf(Kind::GroupSilent, group.stretches));
            findings.last().places = group.places;
        }
    for (auto node = stretches.cbegin(); node != stretches.cend(); ++node)
        for (const QList<Stretch>& cluster : Clusters(*node))
            if (IsTold(cluster)) {
                findings.append(FindingOf(Kind::NodeSilent, cluster));
                findings.last().places = {node.key()};
            }
    std::stable_sort(
        findings.begin(), findings.end(), [](const Incident& a, const Incident& b) { return a.since < b.since; });
    return findings;
}

/// What concerns the whole site.
void Incidents::AddWholes(QList<Incident>& findings) const
{
    for (const QList<Stretch>& cluster : Clusters(Closed(noRows))) {
        const bool areShort =
            std::all_of(cluster.begin(), cluster.end(), [](const Stretch& stretch) { return stretch.sweeps <= 2; });
        const bool again = cluster.size() >= LeastTogether && areShort;
        findings.append(FindingOf(again ? Kind::SweepsLeftOut : Kind::NoRows, cluster));
    }
    QList<QList<Stretch>> meter = Clusters(Closed(substation));
    for (const QList<Stretch>& modem : Clusters(Closed(deaf))) {
        const auto same = std::find_if(
            meter.begin(), meter.end(), [&modem](const QList<Stretch>& other) { return HaveOneCause(modem, other); });
        findings.append(FindingOf(same == meter.end() ? Kind::ModemDeaf : Kind::AllSilent, modem));
        if (same != meter.end())
            meter.erase(same);
        else
            findings.last().places = nodes.keys();
    }
    for (const QList<Stretch>& silent : meter)
        if (IsTold(silent)) {
            findings.append(FindingOf(Kind::SubstationSilent, silent));
            findings.last().places = substations;
        }
}

/// The substation meter is read before the nodes: what fails or works again in between changes them a sweep apart.
bool Incidents::HaveOneCause(const QList<Stretch>& one, const QList<Stretch>& other)
{
    const auto areNear = [](qsizetype a, qsizetype b) { return std::abs(a - b) <= 1; };
    return one.size() == other.size() && areNear(one.constFirst().first, other.constFirst().first)
        && areNear(one.constLast().last, other.constLast().last);
}

QList<Incidents::Stretch> Incidents::Closed(const Silences& silences) const
{
    QList<Stretch> stretches = silences.stretches;
    if (silences.isOpen)
        stretches.last().lasts = true;
    return stretches;
}

/// Without those that only fringe a sweep that is explained as a whole: the modem may fail in the middle of one.
Incidents::ByPlace Incidents::NodeStretches() const
{
    ByPlace all;
    for (auto node = nodes.cbegin(); node != nodes.cend(); ++node) {
        QList<Stretch> stretches = Closed(*node);
        stretches.removeIf([this](const Stretch& stretch) {
            return stretch.sweeps <= 2 && IsNextToWhole(stretch.first) && IsNextToWhole(stretch.last);
        });
        if (!stretches.isEmpty())
            all.insert(node.key(), stretches);
    }
    return all;
}

bool Incidents::IsNextToWhole(qsizetype sweep) const
{
    return wholes.value(sweep - 1, Whole::Nothing) != Whole::Nothing
        || wholes.value(sweep + 1, Whole::Nothing) != Whole::Nothing;
}

/// Two nodes belong together when their silences began in the same sweeps at least `LeastTogether` times, and the
/// sweeps of these silences are half or more of all in which one of the two was silent.
QList<Incidents::Group> Incidents::TakeRecurringGroups(ByPlace& stretches) const
{
    struct Common {
        int times = 0;
        int sweeps = 0;
    };
    struct Beginning {
        qsizetype place;
        int sweeps;
    };
    QMap<qsizetype, QList<Beginning>> beginnings; // by sweep
    QHash<qsizetype, int> silent; // by place: in how many sweeps
    for (auto node = stretches.cbegin(); node != stretches.cend(); ++node)
        for (const Stretch& stretch : *node) {
            beginnings[stretch.first].append({node.key(), stretch.sweeps});
            silent[node.key()] += stretch.sweeps;
        }
    QHash<QPair<qsizetype, qsizetype>, Common> pairs;
    for (const QList<Beginning>& nodesOfSweep : beginnings)
        for (qsizetype i = 0; i < nodesOfSweep.size(); ++i)
            for (qsizetype j = i + 1; j < nodesOfSweep.size(); ++j) {
                Common& common = pairs[{nodesOfSweep[i].place, nodesOfSweep[j].place}];
                ++common.times;
                common.sweeps += std::min(nodesOfSweep[i].sweeps, nodesOfSweep[j].sweeps);
            }
    Union sets;
    QMap<qsizetype, QList<qsizetype>> members; // by root
    for (auto pair = pairs.cbegin(); pair != pairs.cend(); ++pair) {
        const auto [a, b] = pair.key();
        const int inAll = silent[a] + silent[b] - pair->sweeps;
        if (pair->times >= LeastTogether && 2 * pair->sweeps >= inAll)
            sets.Join(a, b);
    }
    for (const qsizetype place : stretches.keys())
        members[sets.RootOf(place)].append(place);

    QList<Group> groups;
    for (const QList<qsizetype>& places : members) {
        if (places.size() < 2)
            continue;
        Group group{places, {}};
        for (auto beginning = beginnings.cbegin(); beginning != beginnings.cend(); ++beginning) {
            QList<Stretch> common;
            for (const qsizetype place : places)
                for (const Stretch& stretch : stretches.value(place))
                    if (stretch.first == beginning.key())
                        common.append(stretch);
            if (2 * common.size() < places.size() || common.size() < 2)
                continue;
            group.stretches.append(*std::max_element(common.begin(), common.end(),
                [](const Stretch& one, const Stretch& other) { return one.last < other.last; }));
            for (const qsizetype place : places)
                stretches[place].removeIf([&](const Stretch& stretch) { return stretch.first == beginning.key(); });
        }
        groups.append(group);
    }
    return groups;
}

/// Nodes with one long silence each, from and to the same sweeps.
QList<Incidents::Group> Incidents::TakeSingleGroups(ByPlace& stretches) const
{
    QMap<QPair<qsizetype, qsizetype>, Group> byBounds;
    for (auto node = stretches.cbegin(); node != stretches.cend(); ++node)
        for (const Stretch& stretch : *node)
            if (stretch.sweeps >= LeastSweeps) {
                Group& group = byBounds[{stretch.first, stretch.last}];
                group.places.append(node.key());
                group.stretches = {stretch};
            }
    QList<Group> groups;
    for (auto group = byBounds.cbegin(); group != byBounds.cend(); ++group) {
        if (group->places.size() < 2)
            continue;
        groups.append(*group);
        const auto [first, last] = group.key();
        for (const qsizetype place : group->places)
            stretches[place].removeIf(
                [first = first, last = last](const Stretch& s) { return s.first == first && s.last == last; });
    }
    return groups;
}

QList<QList<Incidents::Stretch>> Incidents::Clusters(const QList<Stretch>& stretches) const
{
    QList<QList<Stretch>> clusters;
    for (const Stretch& stretch : stretches) {
        const bool continues = !clusters.isEmpty()
            && due[clusters.constLast().constLast().last].secsTo(due[stretch.first]) < QuietHours * 60 * 60;
        if (!continues)
            clusters.append(QList<Stretch>{});
        clusters.last().append(stretch);
    }
    return clusters;
}

/// A long stretch, or many that fill a tenth of the time that they take.
bool Incidents::IsTold(const QList<Stretch>& cluster)
{
    int sweeps = 0;
    for (const Stretch& stretch : cluster) {
        if (stretch.sweeps >= LeastSweeps)
            return true;
        sweeps += stretch.sweeps;
    }
    return cluster.size() >= LeastTimes && 10 * sweeps > cluster.constLast().last - cluster.constFirst().first;
}

Incident Incidents::FindingOf(Kind kind, const QList<Stretch>& stretches) const
{
    const Stretch& first = stretches.constFirst();
    const Stretch& last = stretches.constLast();
    Incident incident;
    incident.kind = kind;
    incident.since = due[first.first];
    if (!last.lasts)
        incident.until = due.value(last.last + 1);
    incident.beganBefore = first.first == 0;
    incident.times = static_cast<int>(stretches.size());
    for (const Stretch& stretch : stretches)
        incident.sweeps += stretch.sweeps;
    return incident;
}
