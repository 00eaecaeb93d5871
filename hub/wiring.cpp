// Every connection between the parts of the hub, in the order in which they come into being.

#include "api.h"
#include "buslistener.h"
#include "busstream.h"
#include "clock.h"
#include "ending.h"
#include "heap.h"
#include "hub.h"
#include "log.h"
#include "momenttext.h"
#include "peerdialler.h"
#include "service.h"

#include <QTimer>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr EventLog::Bounds Chatter{5000, qsizetype{2} * 1024 * 1024};
constexpr EventLog::Bounds OtherEvents{1000, qsizetype{1024} * 1024};
constexpr int WorkEveryMs = 10000;

/// Later than those of any earlier run, unless the clock was set back.
quint64 FirstEventId()
{
    return static_cast<quint64>(CurrentDateTime().toMSecsSinceEpoch());
}

} // namespace

Hub::Hub(HubSettings hubSettings, std::optional<AnnounceSettings> announceSettings, QObject* parent)
    : QObject(parent),
      settings(std::move(hubSettings)),
      announce(std::move(announceSettings)),
      began(CurrentDateTime()),
      events(FirstEventId(), Chatter, OtherEvents),
      sweeps(settings.sweepsDirectory, settings.keepDays)
{
    for (const HubDaemon& daemon : settings.daemons)
        stations.push_back(std::make_unique<Station>(daemon));
}

void Hub::Start()
{
    for (const auto& station : stations) {
        JoinStation(*station);
        JoinLedger(*station);
        JoinBroker(*station);
    }
    JoinBus();
    JoinInterface();

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
    for (const auto& station : stations) {
        if (station->settings.connectsToPeer)
            continue;
        auto* const dialler = new PeerDialler(*station->link, settings.peerName, users, this);
        dialler->Start();
    }
}

void Hub::JoinStation(Station& station)
{
    auto* const link = new DaemonLink(station.Name(), this);
    station.link = link;
    connect(link, &DaemonLink::Changed, this, [this, &station] { TellLink(station); });
    connect(link, &DaemonLink::Summary, this, [this, &station](const QByteArray& data) { TakeSummary(station, data); });
    connect(link, &DaemonLink::Told, this, [this, &station](const QString& text) {
        Tell(station, EventKind::Log, {{u"text"_s, text}});
    });
    connect(link, &DaemonLink::Traffic, this, [this, &station](bool fromSubstationMeter, const QByteArray& bytes) {
        TellTraffic(station, fromSubstationMeter, bytes);
    });
    SwitchLiveView(station);
}

void Hub::JoinLedger(Station& station)
{
    const SiteLedgerSettings window{settings.ledgerDays, settings.deadline};
    auto* const ledger = new SiteLedger(station.settings.vars, "ledger "_L1 + station.Name(), window, this);
    station.ledger = ledger;
    connect(ledger, &SiteLedger::ReadingsChanged, this, [this, &station] {
        KeepModels(station);
        AnnounceRegister(station);
    });
    const auto tell = [this, &station](const QJsonObject& incident, bool isOpen) {
        QJsonObject data = incident;
        data[u"open"_s] = isOpen;
        Tell(station, EventKind::Incident, data);
    };
    connect(ledger, &SiteLedger::IncidentBegan, this, [tell](const QJsonObject& incident) { tell(incident, true); });
    connect(ledger, &SiteLedger::IncidentEnded, this, [tell](const QJsonObject& incident) { tell(incident, false); });
    connect(ledger, &SiteLedger::DatabaseChanged, this, [&station] {
        const SiteLedger::Database& state = station.ledger->DatabaseState();
        if (state.isReachable)
            Log(tr("The database of %1 can be read").arg(station.Name()));
        else
            Log(tr("The database of %1 cannot be read: %2").arg(station.Name(), state.error), Severity::Warning);
    });
    ledger->Start();
}

void Hub::TellLink(Station& station)
{
    const bool isConnected = station.link->IsConnected();
    Tell(station, EventKind::Link,
        {{u"adminLink"_s, station.link->HasAdmin()}, {u"peerLink"_s, station.link->HasPeer()}});
    if (std::exchange(station.wasConnected, isConnected) == isConnected)
        return;
    Log(isConnected ? tr("The daemon %1 is connected").arg(station.Name())
                    : tr("The daemon %1 is not connected any more").arg(station.Name()),
        isConnected ? Severity::Info : Severity::Warning);
    TellThatItWorks();
    if (isConnected)
        ListNodes(station);
}

void Hub::Tell(const Station& station, QLatin1StringView kind, QJsonObject data)
{
    data[u"at"_s] = MomentText(CurrentDateTime(), Qt::ISODateWithMs);
    data[u"controller"_s] = station.Name();
    events.Append(kind, data);
}

/// The event loop runs: that is the work.
void Hub::TellThatItWorks()
{
    Service::Work().TickBegins();
    Service::Work().TickEnds(true);
    GiveBackFreedHeap(); // what a large answer took
    QStringList away;
    for (const auto& station : stations)
        if (!station->link->IsConnected())
            away.append(station->Name());
    Service::Status(away.isEmpty() ? tr("all daemons are connected")
                                   : tr("daemons that are not connected: %1").arg(away.join(u' ')));
}

/// What a daemon has said already is kept, too.
void Hub::Leave()
{
    for (const auto& station : stations)
        station->link->ReadAll();
    sweeps.WriteWaiting();
}

Station* Hub::Find(QStringView controller) const
{
    const auto found =
        std::ranges::find_if(stations, [controller](const auto& station) { return station->Name() == controller; });
    return found == stations.end() ? nullptr : found->get();
}
