#include "modemfaults.h"

#include "virtualmeter.h"

#include <cmath>
#include <utility>

bool ModemFaultTraits::AnyOn() const
{
    return powerCutEvery > Moment(0) || !powerCuts.isEmpty() || deafEvery > Moment(0) || !deaf.isEmpty();
}

ModemFaults::ModemFaults(ModemFaultTraits faultTraits, quint32 seed)
    : traits(std::move(faultTraits)),
      random(SeedOf("modem faults", seed))
{
}

void ModemFaults::Schedule(Agenda& agenda, const Agenda::Task& powerCut, const Agenda::Task& deafness)
{
    for (const Moment when : traits.powerCuts)
        agenda.At(when, powerCut);
    for (const Moment when : traits.deaf)
        agenda.At(when, deafness);
    ScheduleNext(agenda, traits.powerCutEvery, powerCut, Moment(0));
    ScheduleNext(agenda, traits.deafEvery, deafness, Moment(0));
}

void ModemFaults::ScheduleNext(Agenda& agenda, Moment mean, const Agenda::Task& fault, Moment from)
{
    if (mean <= Moment(0))
        return;
    const double share = (static_cast<double>(random()) + 0.5) / 4294967296.0; // above 0, below 1
    const Moment interval(std::llround(-std::log(share) * static_cast<double>(mean.count())));
    agenda.At(from + interval, [this, &agenda, mean, fault](Moment now) {
        fault(now);
        ScheduleNext(agenda, mean, fault, now);
    });
}

void ModemFaults::CutPower()
{
    Forget();
    isDeaf = false;
}

bool ModemFaults::GoDeaf()
{
    return !std::exchange(isDeaf, true);
}

void ModemFaults::Restart()
{
    if (std::exchange(isDeaf, false))
        Forget();
}

void ModemFaults::Join()
{
    if (network == Network::Lost)
        network = Network::Joined;
}

void ModemFaults::Enter()
{
    if (network == Network::Joined)
        network = Network::Entered;
}

Passage ModemFaults::OfAnswer() const
{
    if (isDeaf)
        return Passage::ModemDeaf;
    return OnNetwork() ? Passage::Whole : Passage::ModemAway;
}

void ModemFaults::Forget()
{
    network = Network::Lost;
    ++life;
}
