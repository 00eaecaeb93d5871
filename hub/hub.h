#pragma once

#include "announcesettings.h"
#include "apisources.h"
#include "eventlog.h"
#include "hubsettings.h"
#include "station.h"
#include "sweepstore.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class Api;
class HttpServer;

/// The program: all of its parts, and who talks to whom.
class Hub final : public QObject {
    Q_OBJECT

public:
    Hub(HubSettings hubSettings, std::optional<AnnounceSettings> announceSettings, QObject* parent = nullptr);

    /// Joins the parts and lets them begin.
    void Start();

private:
    // --- all parts, the bus and the events: wiring.cpp
    void JoinBus();
    void JoinStation(Station& station);
    void JoinLedger(Station& station);
    void TellLink(Station& station);
    void Tell(const Station& station, QLatin1StringView kind, QJsonObject data);
    void TellThatItWorks();
    void Leave();
    [[nodiscard]] Station* Find(QStringView controller) const;

    // --- what daemons send to their peers: summaries.cpp
    void TakeSummary(Station& station, const QByteArray& data);
    void TakeSweep(Station& station, const SweepMessage& message);
    void CountSweep(Station& station, const SweepMessage& message);

    // --- the live view: traffic.cpp
    void TellTraffic(Station& station, bool fromSubstationMeter, const QByteArray& bytes);
    [[nodiscard]] QJsonArray WordsOf(Station& station, bool fromSubstationMeter, const QByteArray& bytes);
    void KeepModels(Station& station);
    void WatchTraffic(bool wanted);
    void SwitchLiveView(Station& station);

    // --- HTTP: interface.cpp
    void JoinInterface();
    void KeepListening(const QString& place, const std::function<std::optional<QString>()>& listen);
    [[nodiscard]] ApiSources Sources();
    void SendCommand(
        const QString& controller, const QString& name, const QString& argument, const ApiSources::CommandReply& reply);
    void ListNodes(Station& station);

    // --- answers that join several parts: status.cpp
    [[nodiscard]] QJsonObject StatusOf(const Station& station) const;
    [[nodiscard]] QJsonArray ProblemsOf(const Station& station) const;
    [[nodiscard]] QByteArray Metrics() const;
    [[nodiscard]] ControllerMetrics MetricsOf(const Station& station) const;

    // --- MQTT: broker.cpp
    void JoinBroker(Station& station);
    void Announce(Station& station, const SweepMessage& message);
    void AnnounceRegister(Station& station);

    const HubSettings settings;
    const std::optional<AnnounceSettings> announce;
    const QDateTime began;
    std::vector<std::unique_ptr<Station>> stations; ///< not changed once it is made: others keep pointers
    EventLog events;
    SweepStore sweeps;
    bool trafficWatched = false;
    Api* api = nullptr;
    HttpServer* server = nullptr;
};
