// The MQTT broker gets the readings as they come, and the meters that there are.

#include "ending.h"
#include "hub.h"
#include "log.h"
#include "meterannouncer.h"
#include "necessity.h"
#include "version.h"

using namespace Qt::StringLiterals;

void Hub::JoinBroker(Station& station)
{
    if (!announce)
        return;
    const MeterAnnouncements texts(announce->prefix, announce->discovery, station.Name(), getTesselVersion());
    auto* const client = new MqttClient(BrokerSettings(*announce, texts, station.Name()), this);
    station.broker = client;
    station.announcer = new MeterAnnouncer(texts, client, this);

    const auto necessity = std::make_shared<Necessity>();
    connect(client, &MqttClient::Connected, this, [this, necessity, &station] {
        const QString text = tr("The broker is connected for %1").arg(station.Name());
        necessity->Works(text);
        Log(text);
    });
    connect(client, &MqttClient::Failed, this, [necessity, &station](const QString& reason) {
        const QString text = tr("The broker is not connected for %1: %2").arg(station.Name(), reason);
        if (necessity->Fails(text))
            Log(text, Severity::Warning);
    });
    connect(client, &MqttClient::Refused, this, [](const QByteArray& topic, const QString& reason) {
        Log(tr("A message for the broker is left out, %1: %2").arg(QString::fromUtf8(topic), reason),
            Severity::Warning);
    });
    connect(station.announcer, &MeterAnnouncer::Overflowed, this, [&station] {
        Log(tr("Readings of %1 for the broker are lost: too many wait").arg(station.Name()), Severity::Warning);
    });
    client->Start();
    Ending::BeforeLeaving(client, [client, texts] { client->Leave(texts.Availability(false)); });
}

void Hub::Announce(Station& station, const SweepMessage& message)
{
    if (!station.announcer)
        return;
    for (const SweepReading& reading : message.readings) {
        AnnouncedRow row{reading.globalId, reading.Stamp(), reading.status, {}};
        for (size_t i = 0; i < row.energy.size(); ++i)
            row.energy[i] = DecimalOf(reading.energyKWh[i]);
        if (row.at.isValid())
            station.announcer->Take(row);
    }
}

void Hub::AnnounceRegister(Station& station)
{
    if (!station.announcer)
        return;
    QList<AnnouncedMeter> meters;
    QList<AnnouncedRow> last;
    for (const SiteLedger::MeterNow& now : station.ledger->MetersNow()) {
        const LedgerMeter& meter = now.meter;
        if (!meter.inRegister)
            continue;
        meters.append({meter.globalId, meter.uin, meter.number, meter.model, meter.isSubstation, meter.hasTariffs});
        if (now.readingAt.isValid())
            last.append({meter.globalId, now.readingAt, 0, now.energy});
    }
    station.announcer->SetMeters(meters);
    for (const AnnouncedRow& row : last)
        station.announcer->SetLastReading(row);
}
