#pragma once

#include "daemonlink.h"
#include "hubsettings.h"
#include "metricstext.h"
#include "namedcounts.h"
#include "siteledger.h"
#include "trafficwords.h"

#include <QDateTime>
#include <QHash>
#include <QJsonObject>

#include <optional>

class MeterAnnouncer;
class MqttClient;
class QTimer;
struct MeterModel;

/// One daemon with all that the hub keeps of it.
struct Station {
    explicit Station(const HubDaemon& daemon)
        : settings(daemon),
          words([this](const QByteArray& uin) { return models.value(uin); })
    {
    }
    Q_DISABLE_COPY_MOVE(Station)

    [[nodiscard]] const QString& Name() const { return settings.controller; }

    const HubDaemon settings;
    DaemonLink* link = nullptr;
    SiteLedger* ledger = nullptr;
    bool wasConnected = false;
    bool liveViewByCommand = false;

    // --- what its sweeps told
    struct Sweep {
        QDateTime at; ///< its stamp, local time
        qsizetype meters = 0;
        qsizetype read = 0;
        double seconds = 0; ///< from its stamp to its message
    };
    std::optional<Sweep> lastSweep; ///< of readings, since the hub was started
    QMap<QString, int> sweepMeters; ///< of it, by what became of them
    QMap<QString, SweepMetrics> sweeps; ///< by kind
    NamedCounts alarms;
    NamedCounts commands;

    // --- words for its traffic
    QHash<QByteArray, const MeterModel*> models; ///< by node
    const MeterModel* substationModel = nullptr;
    QString substationNumber;
    TrafficWords words;
    QTimer* askForNodes = nullptr;

    // --- MQTT; null without a broker
    MqttClient* broker = nullptr;
    MeterAnnouncer* announcer = nullptr;
};
