// Every connection between the parts of the hub, in the order in which they come into being.

#include "buslistener.h"
#include "busstream.h"
#include "clock.h"
#include "ending.h"
#include "hub.h"
#include "log.h"
#include "peerdialler.h"
#include "service.h"
#include "shown.h"

#include <QTimer>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype MostEvents = 5000;
constexpr qsizetype MostEventBytes = qsizetype{2} * 1024 * 1024;
constexpr int WorkEveryMs = 10000;

/// Later than those of any earlier run, unless the clock was set back.
quint64 FirstEventId()
{
    return static_cast<quint64>(CurrentDateTime().toMSecsSinceEpoch());
}

} // namespace

Hub::Hub(HubSettings hubSettings, QObject* parent)
    : QObject(parent),
      settings(std::move(hubSettings)),
      events(FirstEventId(), MostEvents, MostEventBytes),
      sweeps(settings.sweepsDirectory, settings.keepDays)
{
    for (const HubDaemon& daemon : settings.daemons)
        stations.append({daemon, new DaemonLink(daemon.controller, this)});
}

void Hub::Start()
{
    for (Station& station : stations)
        JoinStation(station);
    JoinBus();

    auto* const work = new QTimer(this);
    connect(work, &QTimer::timeout, this, &Hub::TellThatItWorks);
    work->start(WorkEveryMs);
    TellThatItWorks();
    Ending::BeforeLeaving(this, [this] { Leave(); });
}

void Hub::JoinBus()
{
    const PeerUsers users(settings.busUsers);
    const auto listen = [&](const QString& name, void (DaemonLink::*take)(BusStream*)) {
        const auto welcome = [this, take](const QByteArray& daemon, BusStream* stream) {
            Station* const station = Find(QString::fromUtf8(daemon));
            if (station)
                (station->link->*take)(stream);
            return station != nullptr;
        };
        auto* const listener = new BusListener(name, users, welcome, this);
        listener->Start();
    };
    listen(settings.peerName, &DaemonLink::TakePeer);
    listen(settings.adminName, &DaemonLink::TakeAdmin);
    for (const Station& station : std::as_const(stations))
        if (!station.settings.connectsToPeer)
            (new PeerDialler(*station.link, settings.peerName, users, this))->Start();
}

void Hub::JoinStation(Station& station)
{
    DaemonLink* const link = station.link;
    connect(link, &DaemonLink::Changed, this, [this, &station] { TellLink(station); });
    connect(link, &DaemonLink::Summary, this, [this, &station](const QByteArray& data) { TakeSummary(station, data); });
    connect(link, &DaemonLink::Told, this, [this, &station](const QString& text) {
        Tell(station, EventKind::Log, {{u"text"_s, text}});
    });
    connect(link, &DaemonLink::Traffic, this, [this, &station](bool fromSubstationMeter, const QByteArray& bytes) {
        TellTraffic(station, fromSubstationMeter, bytes);
    });
    link->WantLiveView(settings.trafficAlways);
}

void Hub::TakeSummary(Station& station, const QByteArray& data)
{
    if (const auto message = DecodeSweepMessage(data)) {
        const SweepStore::Taken taken = sweeps.Take(station.settings.controller, *message);
        if (taken != SweepStore::Taken::Refused)
            TellSweep(station, *message, taken);
    } else if (const auto alarm = DecodeAlarmMessage(data)) {
        Tell(station, EventKind::Alarm,
            {{u"globalId"_s, alarm->globalId}, {u"stamp"_s, alarm->stamp}, {u"code"_s, alarm->code}});
    }
}

void Hub::TellSweep(const Station& station, const SweepMessage& message, SweepStore::Taken taken)
{
    const bool isReadings = message.kind == SweepMessage::Kind::Readings;
    QJsonObject data{{u"sweep"_s, isReadings ? u"readings"_s : u"clocks"_s}, {u"file"_s, message.fileName},
        {u"rows"_s, message.Records()}, {u"written"_s, taken == SweepStore::Taken::Written}};
    if (isReadings)
        data[u"read"_s] = std::ranges::count_if(message.readings,
            [](const SweepReading& row) { return row.status == 0 && row.energyKWh != std::array<float, 5>{}; });
    Tell(station, EventKind::Sweep, data);
}

void Hub::TellLink(Station& station)
{
    const bool isConnected = station.link->IsConnected();
    Tell(station, EventKind::Link,
        {{u"adminLink"_s, station.link->HasAdmin()}, {u"peerLink"_s, station.link->HasPeer()}});
    if (std::exchange(station.wasConnected, isConnected) == isConnected)
        return;
    Log(isConnected ? tr("The daemon %1 is connected").arg(station.settings.controller)
                    : tr("The daemon %1 is not connected any more").arg(station.settings.controller),
        isConnected ? Severity::Info : Severity::Warning);
    TellThatItWorks();
}

/// In pieces that every reader's buffer has room for.
void Hub::TellTraffic(const Station& station, bool fromSubstationMeter, const QByteArray& bytes)
{
    constexpr qsizetype MostBytes = 4096;
    for (qsizetype at = 0; at < bytes.size(); at += MostBytes)
        Tell(station, EventKind::Traffic,
            {{u"port"_s, fromSubstationMeter ? u"substation"_s : u"modem"_s},
                {u"bytes"_s, QString::fromLatin1(bytes.mid(at, MostBytes).toHex())}});
}

void Hub::Tell(const Station& station, QLatin1StringView kind, QJsonObject data)
{
    const QDateTime now = CurrentDateTime();
    data[u"at"_s] = now.toOffsetFromUtc(now.offsetFromUtc()).toString(Qt::ISODateWithMs);
    data[u"controller"_s] = station.settings.controller;
    events.Append(kind, data);
}

/// The event loop runs: that is the work.
void Hub::TellThatItWorks()
{
    Service::Work().TickBegins();
    Service::Work().TickEnds(true);
    QStringList away;
    for (const Station& station : std::as_const(stations))
        if (!station.link->IsConnected())
            away.append(station.settings.controller);
    Service::Status(away.isEmpty() ? tr("all daemons are connected")
                                   : tr("daemons that are not connected: %1").arg(away.join(u' ')));
}

/// What a daemon has said already is kept, too.
void Hub::Leave()
{
    for (const Station& station : std::as_const(stations))
        station.link->ReadAll();
    sweeps.WriteWaiting();
}

Hub::Station* Hub::Find(QStringView controller)
{
    const auto found = std::ranges::find_if(
        stations, [controller](const Station& station) { return station.settings.controller == controller; });
    return found == stations.end() ? nullptr : &*found;
}
