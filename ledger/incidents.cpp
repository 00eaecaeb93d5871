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

/// What concerns the whole site. Modem and substation meter silent from and to the same sweeps have one cause.
void Incidents::AddWholes(QList<Incident>& findings) const
{
    for (const QList<Stretch>& cluster : Clusters(Closed(noRows))) {
        const bool areShort =
            std::all_of(cluster.begin(), cluster.end(), [](const Stretch& stretch) { return stretch.sweeps <= 2; });
        const bool again = cluster.size() >= LeastTogether && areShort;
        findings.append(FindingOf(again ? Kind::SweepsLeftOut : Kind::NoRows, cluster));
    }
    QList<Incident> modem;
    for (const QList<Stretch>& cluster : Clusters(Closed(deaf))) {
        modem.append(FindingOf(Kind::ModemDeaf, cluster));
        modem.last().places = nodes.keys();
    }
    for (const QList<Stretch>& cluster : Clusters(Closed(substation))) {
        Incident silent = FindingOf(Kind::SubstationSilent, cluster);
        const auto same = std::find_if(modem.begin(), modem.end(), [&silent](const Incident& other) {
            return other.since == silent.since && other.until == silent.until && other.sweeps == silent.sweeps;
        });
        if (same != modem.end()) {
            same->kind = Kind::AllSilent;
            same->places.clear();
            continue;
        }
        silent.places = substations;
        findings.append(silent);
    }
    findings += modem;
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

/// Two nodes belong together when their silences began in the same sweeps at least `LeastTogether` times, and that is
/// half or more of all beginnings that the two have.
QList<Incidents::Group> Incidents::TakeRecurringGroups(ByPlace& stretches) const
{
    QMap<qsizetype, QList<qsizetype>> beginnings; // by sweep
    for (auto node = stretches.cbegin(); node != stretches.cend(); ++node)
        for (const Stretch& stretch : *node)
            beginnings[stretch.first].append(node.key());
    QHash<QPair<qsizetype, qsizetype>, int> together;
    for (const QList<qsizetype>& places : beginnings)
        for (qsizetype i = 0; i < places.size(); ++i)
            for (qsizetype j = i + 1; j < places.size(); ++j)
                ++together[{places[i], places[j]}];
    Union sets;
    QMap<qsizetype, QList<qsizetype>> members; // by root
    for (auto pair = together.cbegin(); pair != together.cend(); ++pair) {
        const auto [a, b] = pair.key();
        const qsizetype all = stretches.value(a).size() + stretches.value(b).size() - *pair;
        if (*pair >= LeastTogether && 2 * *pair >= all)
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

bool Incidents::IsTold(const QList<Stretch>& cluster) const
{
    return cluster.size() >= LeastTimes || std::any_of(cluster.begin(), cluster.end(), [](const Stretch& stretch) {
        return stretch.sweeps >= LeastSweeps;
    });
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
