// The client takes a few messages at a time; what waits is kept here, as flags where the latest is enough and as rows
// where each one counts.

#include "meterannouncer.h"

#include <utility>

namespace {

constexpr qsizetype LargestAnswer = 2; // messages that one thing to say may need

qint32 TakeAny(QSet<qint32>& ids)
{
    const qint32 id = *ids.cbegin();
    ids.erase(ids.cbegin());
    return id;
}

} // namespace

MeterAnnouncer::MeterAnnouncer(MeterAnnouncements announcements_, MqttClient* client_, QObject* parent)
    : QObject(parent),
      announcements(std::move(announcements_)),
      client(client_)
{
    connect(client, &MqttClient::Connected, this, &MeterAnnouncer::SayAllAgain);
    connect(client, &MqttClient::Received, this, &MeterAnnouncer::Hear);
    connect(client, &MqttClient::Delivered, this, &MeterAnnouncer::Pump);
}

QList<QByteArray> MeterAnnouncer::Subscriptions(const MeterAnnouncements& announcements)
{
    QList<QByteArray> topics{announcements.MetersTopic()};
    if (announcements.HasDiscovery())
        topics.append(announcements.BirthTopic());
    return topics;
}

void MeterAnnouncer::SetMeters(const QList<AnnouncedMeter>& meters_)
{
    QMap<qint32, Known> before = std::exchange(meters, {});
    for (const AnnouncedMeter& meter : meters_) {
        if (meters.contains(meter.globalId))
            continue; // the register may have an id twice; the first one counts
        const auto known = before.constFind(meter.globalId);
        if (known == before.cend() || known->meter != meter || !isRegisterKnown)
            configs.insert(meter.globalId);
        meters.insert(meter.globalId, {meter, known == before.cend() ? std::nullopt : known->last});
    }
    metersAreDue = metersAreDue || !isRegisterKnown || before.keys() != meters.keys();
    isRegisterKnown = true;
    for (const auto& [id, known] : before.asKeyValueRange())
        announced.insert(id);
    RemoveThoseThatLeft();
    Pump();
}

void MeterAnnouncer::RemoveThoseThatLeft()
{
    for (const auto& [id, known] : meters.asKeyValueRange())
        removals.remove(id);
    for (const qint32 id : std::exchange(announced, {}))
        if (!meters.contains(id)) {
            removals.insert(id);
            configs.remove(id);
            states.remove(id);
        }
}

void MeterAnnouncer::Take(const AnnouncedRow& row)
{
    if (!row.IsReading())
        return;
    if (backlog.size() >= MostWaiting) {
        backlog.dequeue();
        if (!std::exchange(hasOverflowed, true))
            emit Overflowed();
    }
    backlog.enqueue(row);
    SetLastReading(row);
}

void MeterAnnouncer::SetLastReading(const AnnouncedRow& row)
{
    if (row.IsReading() && SetLast(row))
        states.insert(row.globalId);
    Pump();
}

bool MeterAnnouncer::SetLast(const AnnouncedRow& row)
{
    const auto known = meters.find(row.globalId);
    if (known == meters.end() || (known->last && known->last->at >= row.at))
        return false;
    known->last = row;
    return true;
}

void MeterAnnouncer::SayAllAgain()
{
    availabilityIsDue = true;
    metersAreDue = isRegisterKnown;
    AnnounceAll();
}

void MeterAnnouncer::AnnounceAll()
{
    for (const auto& [id, known] : meters.asKeyValueRange()) {
        configs.insert(id);
        if (known.last)
            states.insert(id);
    }
    Pump();
}

void MeterAnnouncer::Hear(const QByteArray& topic, const QByteArray& payload)
{
    if (announcements.HasDiscovery() && topic == announcements.BirthTopic()) {
        if (payload == "online")
            AnnounceAll();
        return;
    }
    if (topic != announcements.MetersTopic())
        return;
    // What an earlier run had announced, or our own list. Until the register is known nobody has left it.
    for (const qint32 id : MeterAnnouncements::MetersIn(payload))
        announced.insert(id);
    if (isRegisterKnown)
        RemoveThoseThatLeft();
    Pump();
}

void MeterAnnouncer::Pump()
{
    // A message that cannot be sent makes the client complain and calls back here.
    if (std::exchange(isPumping, true))
        return;
    while (client->IsConnected() && client->Room() >= LargestAnswer) {
        const QList<MqttMessage> next = TakeNext();
        if (next.isEmpty())
            break;
        for (const MqttMessage& message : next)
            (void)client->Publish(message); // what is refused is told by the client, and never sent
    }
    isPumping = false;
}

QList<MqttMessage> MeterAnnouncer::TakeNext()
{
    if (std::exchange(availabilityIsDue, false))
        return {announcements.Availability(true)};
    if (!removals.isEmpty())
        return announcements.Removal(TakeAny(removals));
    if (!configs.isEmpty() && announcements.HasDiscovery())
        return {announcements.Config(meters.value(TakeAny(configs)).meter)};
    if (std::exchange(metersAreDue, false))
        return {announcements.Meters(meters.keys())};
    if (!states.isEmpty()) {
        const qint32 id = TakeAny(states);
        return {announcements.State(meters.value(id).last.value(), HasTariffs(id))};
    }
    if (!backlog.isEmpty()) {
        const AnnouncedRow row = backlog.dequeue();
        hasOverflowed = hasOverflowed && !backlog.isEmpty();
        return {announcements.Reading(row, HasTariffs(row.globalId))};
    }
    return {};
}

bool MeterAnnouncer::HasTariffs(qint32 globalId) const
{
    const auto known = meters.constFind(globalId);
    return known == meters.cend() || known->meter.hasTariffs;
}
