#include "virtualsubstation.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QList<Moment> Moments(const QList<QDateTime>& times, const QDateTime& begin)
{
    QList<Moment> moments;
    for (const QDateTime& time : times)
        if (time >= begin)
            moments += std::chrono::milliseconds(begin.msecsTo(time));
    return moments;
}

ModemTraits TraitsOf(const Scenario& scenario, const QDateTime& begin)
{
    ModemTraits traits = scenario.modem;
    traits.faults.powerCuts += Moments(scenario.powerCuts, begin);
    traits.faults.deaf += Moments(scenario.deaf, begin);
    for (const auto& [uin, node] : scenario.nodes)
        if (node.hops)
            traits.air.hops[uin] = *node.hops;
    return traits;
}

} // namespace

VirtualSubstation::VirtualSubstation(
    const QList<RegisteredMeter>& meters, const Scenario& scenario, const QDateTime& begin, AnswerReport& report)
    : modem(TraitsOf(scenario, begin))
{
    const Conditions conditions{begin, scenario.modem.seed, scenario.driftPpm};
    for (const RegisteredMeter& meter : meters) {
        if (meter.onLocalLine) {
            if (!localLine)
                localLine = std::make_unique<LocalMeter>(meter, scenario.substation, conditions, report);
            continue;
        }
        const auto faults = scenario.nodes.find(meter.uin);
        auto node = std::make_unique<MeterNode>(
            meter, faults == scenario.nodes.end() ? NodeFaults() : faults->second, conditions, report);
        const QList<NodeAnswer> alarms = node->Alarms();
        modem.AddNode(meter.uin, "FFD:"_ba, std::move(node));
        for (const NodeAnswer& alarm : alarms)
            modem.SendFrom(meter.uin, alarm, Moment(0));
    }
}

QByteArrayList UnknownNodes(const QList<RegisteredMeter>& meters, const Scenario& scenario)
{
    QByteArrayList unknown;
    for (const auto& [uin, faults] : scenario.nodes)
        if (std::none_of(meters.begin(), meters.end(),
                [&name = uin](const RegisteredMeter& meter) { return !meter.onLocalLine && meter.uin == name; }))
            unknown += uin;
    return unknown;
}
