#pragma once

#include "daemonlink.h"
#include "eventlog.h"
#include "hubsettings.h"
#include "sweepstore.h"

#include <QJsonObject>
#include <QObject>

class BusListener;

/// The program: all of its parts, and who talks to whom.
class Hub final : public QObject {
    Q_OBJECT

public:
    explicit Hub(HubSettings hubSettings, QObject* parent = nullptr);

    /// Joins the parts and lets them begin.
    void Start();

private:
    /// A daemon with all that is kept of it.
    struct Station {
        HubDaemon settings;
        DaemonLink* link = nullptr;
        bool wasConnected = false;
    };

    // --- the bus, the sweep files, the events: wiring.cpp
    void JoinBus();
    void JoinStation(Station& station);
    void TakeSummary(Station& station, const QByteArray& data);
    void TellSweep(const Station& station, const SweepMessage& message, SweepStore::Taken taken);
    void TellLink(Station& station);
    void TellTraffic(const Station& station, bool fromSubstationMeter, const QByteArray& bytes);
    void Tell(const Station& station, QLatin1StringView kind, QJsonObject data);
    void TellThatItWorks();
    void Leave();
    [[nodiscard]] Station* Find(QStringView controller);

    const HubSettings settings;
    QList<Station> stations; ///< not changed once it is made: others keep pointers
    EventLog events;
    SweepStore sweeps;
};
