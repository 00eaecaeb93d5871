#pragma once

#include "mqttclient.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <array>
#include <optional>

/// A meter of the register, with texts that strangers chose.
struct AnnouncedMeter {
    qint32 globalId = 0;
    QString uin;
    QString number;
    QString model;
    bool isSubstation = false;
    bool hasTariffs = true;

    bool operator==(const AnnouncedMeter&) const = default;
};

/// One row of a sweep.
struct AnnouncedRow {
    qint32 globalId = 0;
    QDateTime at; ///< of its sweep, with its zone
    int status = 0; ///< 0: a reading
    std::array<double, 5> energy{}; ///< kWh: the total, tariffs 1 to 4

    /// Rows of zeros and of silence are no readings and are never published, nor is what is no number.
    [[nodiscard]] bool IsReading() const;
};

/// Topics and payloads for one controller: pure. No text of a stranger makes a level or a wildcard of a topic.
///
/// | topic                                         | payload                                                | kept |
/// |-----------------------------------------------|--------------------------------------------------------|------|
/// | PREFIX/CONTROLLER/availability                | "online", "offline"                                    | yes  |
/// | PREFIX/CONTROLLER/meters                      | JSON: the global_ids of the register                   | yes  |
/// | PREFIX/CONTROLLER/ID/state                    | JSON: {"at", "total", "tariff1" ...} of the last reading | yes  |
/// | PREFIX/CONTROLLER/ID/reading                  | the same, of each reading                              | no   |
/// | DISCOVERY/device/ravelin_CONTROLLER_ID/config | JSON for Home Assistant                                | yes  |
class MeterAnnouncements final {
public:
    /// `prefix` and `discovery` are topics of one or more levels (see IsTopicPrefix); without `discovery` there are no
    /// messages for Home Assistant.
    MeterAnnouncements(
        const QString& prefix, const QString& discovery_, const QString& controller_, const QString& version_);

    [[nodiscard]] MqttMessage Availability(bool isOnline) const;
    [[nodiscard]] MqttMessage Meters(const QList<qint32>& globalIds) const;
    [[nodiscard]] MqttMessage State(const AnnouncedRow& reading, bool hasTariffs) const;
    [[nodiscard]] MqttMessage Reading(const AnnouncedRow& reading, bool hasTariffs) const;
    [[nodiscard]] MqttMessage Config(const AnnouncedMeter& meter) const;

    /// What takes the meter's retained messages away.
    [[nodiscard]] QList<MqttMessage> Removal(qint32 globalId) const;

    /// The ids in a payload of Meters(); none of what is not.
    [[nodiscard]] static QList<qint32> MetersIn(const QByteArray& payload);

    [[nodiscard]] bool HasDiscovery() const { return !discovery.isEmpty(); }
    [[nodiscard]] QByteArray MetersTopic() const { return base + "/meters"; }
    /// Where Home Assistant tells "online" when it was started.
    [[nodiscard]] QByteArray BirthTopic() const { return discovery + "/status"; }

    /// Text as one level of a topic and part of an identifier: of each letter, digit or hyphen itself, of any other
    /// byte its two hexadecimal digits behind "_". Only the first 64 bytes count; of an empty text "_".
    [[nodiscard]] static QByteArray Level(const QString& text);

    /// Whether topics may begin with it: levels with something in them, without wildcards and control characters, at
    /// most 200 bytes; topics that begin with "$" are the broker's.
    [[nodiscard]] static bool IsTopicPrefix(const QString& text);

private:
    [[nodiscard]] QByteArray TopicOf(qint32 globalId, const char* last) const;
    [[nodiscard]] QByteArray ConfigTopic(qint32 globalId) const
    {
        return discovery + "/device/" + Device(globalId) + "/config";
    }
    [[nodiscard]] QByteArray Device(qint32 globalId) const;

    QByteArray base;
    QByteArray discovery;
    QString controller;
    QString version;
};
