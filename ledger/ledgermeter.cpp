#include "ledgermeter.h"

#include <utility>

MeterList::MeterList(QList<LedgerMeter> registered) : meters(std::move(registered))
{
    for (qsizetype i = 0; i < meters.size(); ++i)
        places.insert(meters[i].globalId, i);
}

qsizetype MeterList::PlaceOf(qint32 globalId)
{
    const auto known = places.constFind(globalId);
    if (known != places.constEnd())
        return *known;
    LedgerMeter stranger;
    stranger.globalId = globalId;
    stranger.inRegister = false;
    meters.append(stranger);
    places.insert(globalId, meters.size() - 1);
    return meters.size() - 1;
}
