#include "airtimeplan.h"

using namespace Qt::StringLiterals;

namespace {

using AirtimePlan::Case;
using AirtimePlan::Site;

constexpr qint64 TickMs = 25000; // from the end of one look at an open sweep to the next
constexpr qint64 ClockReadOutMs = 1500;
constexpr int MostPassesCounted = 127; // the counter is a signed byte

/// The waits within one try.
int SubstationTryMs(const QString& model)
{
    if (model == "CE301"_L1)
        return 2600;
    return model == "SET3"_L1 ? 1000 : 0;
}

/// The answers of other models are kept by nobody.
bool IsHeard(const QString& model)
{
    return model == "CE301"_L1 || model == "SET1"_L1 || model == "SET3"_L1;
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
        site.setsClocksOneByOne = site.setsClocksOneByOne || row.model == "CE301"_L1;
        if (row.type == u'1') {
            site.substationMs = SubstationTryMs(row.model);
        } else {
            ++site.nodes;
            site.neverHeard += IsHeard(row.model) ? 0 : 1;
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
    const qint64 startMs = site.nodes * (site.unicastMs + ClockReadOutMs) + site.broadcastMs;
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
