#include "airtimeplan.h"

#include "metermodel.h"
#include "timing.h"

#include <algorithm>
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

/// From one message to the next, ms.
struct Pauses {
    qint64 report; ///< behind a message that gets no answer
    qint64 answer; ///< behind a read-out
    qint64 clock; ///< behind a clock's read-out at the start of a time sweep
    qint64 silent; ///< behind the read-out of a node that was silent
};

Pauses PausesOf(const Site& site, Case answers)
{
    const qint64 whole = site.unicastMs;
    if (site.window == 0 || answers == Case::Worst) // without a report the window shrinks to one node
        return {whole, whole, CollectorTiming::ClockReadOutPauseMs, whole};
    const qint64 best = std::max(AirtimePlan::ReadOutMs / site.window, AirtimePlan::ReadOutLineMs);
    if (answers == Case::Best)
        return {best, best, best, best};
    return {site.measuredMs, site.measuredMs, site.measuredMs, whole / site.window};
}

int SilentNodes(const Site& site, Case answers)
{
    switch (answers) {
    case Case::Best:
        return site.neverHeard;
    case Case::Worst:
        return site.nodes;
    case Case::Measured:
        return std::min(site.measuredSilent, site.nodes);
    }
    return 0;
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
qint64 PassMs(const Site& site, int silent, const Pauses& pauses)
{
    return silent * (pauses.report + pauses.silent) + site.broadcastMs;
}

/// There is a pause between two tries, and, with fixed pauses, one after the try that succeeds.
qint64 SubstationMs(const Site& site, Case answers)
{
    if (site.substationMs == 0)
        return qint64{site.substationRetries} * site.unicastMs;
    const qint64 tries = answers == Case::Worst ? site.substationRetries + 1 : 1;
    return tries * (site.substationMs + site.unicastMs) - (site.window > 0 ? site.unicastMs : 0);
}

/// Before the first read-out: with pacing by answers the substation meter is read while the others measure.
qint64 BeforeReadOutMs(const Site& site, Case answers)
{
    const qint64 substationMs = SubstationMs(site, answers);
    return site.window > 0 ? std::max<qint64>(substationMs, site.broadcastMs) : substationMs + site.broadcastMs;
}

} // namespace

Site AirtimePlan::SiteOf(const SysVar& vars, const QList<RegisterRow>& rows)
{
    Site site{.broadcastMs = vars.BCAST_to_UCAST_Delay,
        .unicastMs = vars.UCAST_to_UCAST_Delay,
        .substationRetries = vars.RepeateQueryKTPNumber,
        .passes = vars.RepeatQueryNumber,
        .window = vars.field.Window()};
    bool hasSubstation = false;
    for (const RegisterRow& row : rows) {
        const MeterModel* const model = FindMeterModel(row.model);
        site.setsClocksOneByOne = site.setsClocksOneByOne || (model && model->clockSetOneByOne);
        if (row.type == u'1') {
            hasSubstation = true;
            site.substationMs = SubstationTryMs(model);
        } else {
            ++site.nodes;
            site.neverHeard +=
                model && model->read && (model->answersStored || vars.field.Has(FieldConduct::Ce102)) ? 0 : 1;
        }
    }
    if (!hasSubstation && vars.field.Has(FieldConduct::Substation))
        site.substationRetries = 0;
    return site;
}

std::optional<qint64> AirtimePlan::QuerySweepMs(const Site& site, Case answers)
{
    const int silent = SilentNodes(site, answers);
    if (!IsClosed(site, silent))
        return std::nullopt;
    const Pauses pauses = PausesOf(site, answers);
    const qint64 startMs =
        BeforeReadOutMs(site, answers) + (site.nodes - silent) * pauses.answer + silent * pauses.silent;
    // The first look is a tick after the start, and one more closes the sweep after the last pass. With pacing by
    // answers a sweep that everybody has answered is closed at once.
    const int closingMs = site.window > 0 && silent == 0 ? 0 : TickMs;
    return startMs + Passes(site, silent) * (TickMs + PassMs(site, silent, pauses)) + closingMs;
}

std::optional<qint64> AirtimePlan::TimeSweepMs(const Site& site, Case answers)
{
    const int silent = SilentNodes(site, answers);
    if (site.nodes == 0 || site.passes == 0)
        return 0;
    if (!IsClosed(site, silent))
        return std::nullopt;
    const Pauses pauses = PausesOf(site, answers);
    const qint64 startMs = site.nodes * (pauses.report + pauses.clock) + site.broadcastMs;
    // The first look is in the tick of the start.
    return startMs + Passes(site, silent) * (PassMs(site, silent, pauses) + TickMs);
}

qint64 AirtimePlan::ClockSettingMs(const Site& site, Case answers)
{
    return site.setsClocksOneByOne ? site.nodes * PausesOf(site, answers).report : 0;
}

int AirtimePlan::MeanPauseMs(const QList<QTime>& times, int longestMs)
{
    int sumMs = 0;
    int count = 0;
    for (qsizetype i = 1; i < times.size(); ++i) {
        const int pauseMs = times[i - 1].msecsTo(times[i]);
        if (pauseMs < 0 || pauseMs > longestMs)
            continue;
        sumMs += pauseMs;
        ++count;
    }
    return count == 0 ? 0 : sumMs / count;
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
