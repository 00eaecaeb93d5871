#include "airpath.h"

#include "chance.h"
#include "virtualmeter.h"

#include <algorithm>
#include <utility>

namespace {

constexpr Moment ShortestHop = std::chrono::milliseconds(20);
constexpr Moment LongestHop = std::chrono::milliseconds(60);

} // namespace

bool AirTraits::AnyOn() const
{
    return mostHops > 0 || mostOnTheirWay > 0 || reportLoss > 0 || reportLate > 0 || nackTime;
}

AirPath::AirPath(AirTraits airTraits, Moment latency, quint32 playSeed)
    : traits(std::move(airTraits)),
      fixedLatency(latency),
      seed(playSeed),
      random(SeedOf("air", playSeed))
{
}

Moment AirPath::WayTo(const QByteArray& uin)
{
    return HasHops() ? Way(uin) : fixedLatency;
}

Moment AirPath::WayBack(const QByteArray& uin)
{
    return HasHops() ? Way(uin) : Moment(0);
}

Moment AirPath::Way(const QByteArray& uin)
{
    Moment way{0};
    for (int i = 0; i < HopsTo(uin); ++i)
        way += ShortestHop + Moment(static_cast<qint64>(random()) % ((LongestHop - ShortestHop).count() + 1));
    return way;
}

int AirPath::HopsTo(const QByteArray& uin) const
{
    const auto own = traits.hops.find(uin);
    if (own != traits.hops.end())
        return own->second;
    return 1 + static_cast<int>(SeedOf(uin + " hops", seed) % static_cast<quint32>(traits.mostHops));
}

Moment AirPath::ReportTime(const QByteArray& uin, bool reached, Moment taken, Moment arrived)
{
    if (!reached && traits.nackTime)
        return std::max(taken + *traits.nackTime, arrived);
    return arrived + WayBack(uin);
}

AirPath::ReportFate AirPath::NextReport()
{
    if (Happens(traits.reportLoss, random))
        return ReportFate::Lost;
    return Happens(traits.reportLate, random) ? ReportFate::Late : ReportFate::Comes;
}

bool AirPath::Take()
{
    if (traits.mostOnTheirWay > 0 && onTheirWay >= traits.mostOnTheirWay)
        return false;
    ++onTheirWay;
    return true;
}
