// What the daemons send to their peers: sweeps become files, counts and readings for the broker, alarms become events.

#include "clock.h"
#include "hub.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool IsReading(const SweepReading& row)
{
    return row.status == 0 && row.energyKWh != std::array<float, 5>{};
}

/// What became of a meter, as a label of a metric.
QString OutcomeOf(const SweepReading& row)
{
    switch (row.status) {
    case 0:
        return IsReading(row) ? u"read"_s : u"zero_row"_s;
    case 1:
        return u"undecodable"_s;
    case 2:
        return u"no_reading"_s;
    case 3:
        return u"not_delivered"_s;
    case 255:
        return u"nothing_heard"_s;
    default:
        return u"unknown_status"_s;
    }
}

} // namespace

void Hub::TakeSummary(Station& station, const QByteArray& data)
{
    if (const auto message = DecodeSweepMessage(data)) {
        TakeSweep(station, *message);
    } else if (const auto alarm = DecodeAlarmMessage(data)) {
        station.alarms.Count(QString::number(alarm->code));
        Tell(station, EventKind::Alarm,
            {{u"globalId"_s, alarm->globalId}, {u"stamp"_s, alarm->stamp}, {u"code"_s, alarm->code}});
    }
}

void Hub::TakeSweep(Station& station, const SweepMessage& message)
{
    const SweepStore::Taken taken = sweeps.Take(station.Name(), message);
    if (taken == SweepStore::Taken::Refused)
        return;
    CountSweep(station, message);
    Announce(station, message);
    station.ledger->Refresh();

    const bool isReadings = message.kind == SweepMessage::Kind::Readings;
    QJsonObject event{{u"sweep"_s, isReadings ? u"readings"_s : u"clocks"_s}, {u"file"_s, message.fileName},
        {u"rows"_s, message.Records()}, {u"written"_s, taken == SweepStore::Taken::Written}};
    if (isReadings)
        event[u"read"_s] = std::ranges::count_if(message.readings, IsReading);
    Tell(station, EventKind::Sweep, event);
}

/// A sweep without rows was made too, but nothing is known of its meters.
void Hub::CountSweep(Station& station, const SweepMessage& message)
{
    const QDateTime now = CurrentDateTime();
    const bool isReadings = message.kind == SweepMessage::Kind::Readings;
    SweepMetrics& metrics = station.sweeps[isReadings ? u"readings"_s : u"clocks"_s];
    ++metrics.total;
    if (message.Records() == 0)
        return;
    metrics.last = now;
    if (!isReadings)
        return;
    const QDateTime stamp = message.readings.constFirst().Stamp();
    if (stamp.isValid())
        metrics.last = stamp;
    station.lastSweep = Station::Sweep{metrics.last, message.readings.size(),
        std::ranges::count_if(message.readings, IsReading), static_cast<double>(metrics.last.msecsTo(now)) / 1000};
    station.sweepMeters.clear();
    for (const SweepReading& row : message.readings)
        ++station.sweepMeters[OutcomeOf(row)];
}
