#include "airtimeplan.h"

#include "metermodel.h"
#include "timing.h"

#include <numeric>

using namespace Qt::StringLiterals;

namespace {

using AirtimePlan::Case;
using AirtimePlan::Site;

using CollectorTiming::MostPassesCounted;
using CollectorTiming::TickMs;

/// The waits within one try; 0 for a model that cannot be read there.
int SubstationTryMs(const MeterModel* model)
{
    if (!model || !model->substation)
        return 0;
    const QList<SubstationProtocol::Write> request = model->substation->energyRequest(u"0"_s);
    return std::accumulate(request.begin(), request.end(), 0,
        [](int ms, const SubstationProtocol::Write& write) { return ms + static_cast<int>(write.pauseMs); });
}

int SilentNodes(const Site& site, Case answers)
{
    return answers == Case::Best ? site.neverHeard : site.nodes;
}

/// No pass is made for nobody.
int Passes(const Site& site, int silent)
{
    return silent == 0 ? 0 : site.passes;
}

bool IsClosed(const Site& site, int silent)
{
    return Passes(site, silent) <= MostPassesCounted;
}

/// Asked to measure one after the other, then to send what they measured.
qint64 PassMs(const Site& site, int silent)
{
    return 2 * qint64{silent} * site.unicastMs + site.broadcastMs;
}

/// There is a pause between two tries, and one after the try that succeeds.
qint64 SubstationMs(const Site& site, Case answers)
{
    if (site.substationMs == 0)
        return qint64{site.substationRetries} * site.unicastMs;
    const qint64 tries = answers == Case::Best ? 1 : site.substationRetries + 1;
    return tries * (site.substationMs + site.unicastMs);
}

} // namespace

Site AirtimePlan::SiteOf(const SysVar& vars, const QList<RegisterRow>& rows)
{
    Site site{.broadcastMs = vars.BCAST_to_UCAST_Delay,
        .unicastMs = vars.UCAST_to_UCAST_Delay,
        .substationRetries = vars.RepeateQueryKTPNumber,
        .passes = vars.RepeatQueryNumber};
    for (const RegisterRow& row : rows) {
        const MeterModel* const model = FindMeterModel(row.model);
        site.setsClocksOneByOne = site.setsClocksOneByOne || (model && model->clockSetOneByOne);
        if (row.type == u'1') {
            site.substationMs = SubstationTryMs(model);
        } else {
            ++site.nodes;
            site.neverHeard +=
                model && model->read && (model->answersStored || vars.field.Has(FieldConduct::Ce102)) ? 0 : 1;
        }
    }
    return site;
}

std::optional<qint64> AirtimePlan::QuerySweepMs(const Site& site, Case answers)
{
    const int silent = SilentNodes(site, answers);
    if (!IsClosed(site, silent))
        return std::nullopt;
    const qint64 startMs = SubstationMs(site, answers) + site.broadcastMs + qint64{site.nodes} * site.unicastMs;
    // The first look is a tick after the start, and one more closes the sweep after the last pass.
    return startMs + Passes(site, silent) * (TickMs + PassMs(site, silent)) + TickMs;
}

std::optional<qint64> AirtimePlan::TimeSweepMs(const Site& site, Case answers)
{
    const int silent = SilentNodes(site, answers);
    if (site.nodes == 0 || site.passes == 0)
        return 0;
    if (!IsClosed(site, silent))
        return std::nullopt;
    const qint64 startMs =
        site.nodes * (site.unicastMs + qint64{CollectorTiming::ClockReadOutPauseMs}) + site.broadcastMs;
    // The first look is in the tick of the start.
    return startMs + Passes(site, silent) * (PassMs(site, silent) + TickMs);
}

qint64 AirtimePlan::ClockSettingMs(const Site& site)
{
    return site.setsClocksOneByOne ? qint64{site.nodes} * site.unicastMs : 0;
}

int AirtimePlan::NodesThatFit(
    const Site& site, qint64 availableMs, const std::function<std::optional<qint64>(const Site&)>& length)
{
    const auto fits = [&](int nodes) {
        Site other = site;
        other.nodes = nodes;
        if (site.nodes > 0) // rounded up: one is enough for all the passes
            other.neverHeard = static_cast<int>((qint64{site.neverHeard} * nodes + site.nodes - 1) / site.nodes);
        const std::optional<qint64> ms = length(other);
        return ms && *ms <= availableMs;
    };
    int most = 0;
    for (int tooMany = 100001; tooMany - most > 1;) {
        const int middle = most + (tooMany - most) / 2;
        (fits(middle) ? most : tooMany) = middle;
    }
    return most;
}
