#include "risingcounts.h"

#include <algorithm>

using namespace Qt::StringLiterals;

void RisingCounts::Take(qint32 globalId, QDate day, const Counts& counts)
{
    if (!first.isValid())
        first = day;
    Meter& meter = meters[globalId];
    if (day < first || (!meter.open.isEmpty() && day <= meter.open.lastKey().addDays(-OpenDays)))
        return;
    Counts& known = meter.open[day];
    known.expected = std::max(known.expected, counts.expected);
    known.received = std::max(known.received, counts.received);
    Close(meter, meter.open.lastKey().addDays(-OpenDays));
}

void RisingCounts::Close(Meter& meter, QDate last)
{
    while (meter.open.firstKey() <= last) {
        const Counts day = meter.open.take(meter.open.firstKey());
        meter.closed.expected += day.expected;
        meter.closed.received += day.received;
    }
}

RisingCounts::Counts RisingCounts::Of(qint32 globalId) const
{
    const Meter meter = meters.value(globalId);
    Counts sum = meter.closed;
    for (const Counts& day : meter.open) {
        sum.expected += day.expected;
        sum.received += day.received;
    }
    return sum;
}

void NamedCounts::Count(const QString& name)
{
    const bool isKnown = counts.contains(name);
    ++counts[isKnown || counts.size() < MostNames ? name : u"other"_s];
}
