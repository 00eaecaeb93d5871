#pragma once

#include "meterannouncements.h"
#include "mqttclient.h"

#include <QStringList>

#include <optional>

class SettingsFile;

/// The group [MQTT] of the hub's settings.
struct AnnounceSettings {
    MqttSettings broker; ///< without client id, will and subscriptions
    QString prefix;
    QString discovery; ///< empty: nothing for Home Assistant
};

/// None when `Broker` is empty, and when something is wrong: then `problems` says what, a sentence each without its
/// full stop. Reads the file
/// of the password, its first line.
[[nodiscard]] std::optional<AnnounceSettings> ReadAnnounceSettings(const SettingsFile& file, QStringList& problems);

/// What the client of one controller needs: its own id, the will, and what it listens to.
[[nodiscard]] MqttSettings BrokerSettings(
    const AnnounceSettings& settings, const MeterAnnouncements& announcements, const QString& controller);
