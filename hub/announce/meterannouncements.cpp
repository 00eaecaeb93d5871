#include "meterannouncements.h"

#include "shown.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestLevel = 64; // bytes, before they are written out
constexpr qsizetype LongestPrefix = 200;
constexpr qsizetype MostMeters = 100'000; // in a list that somebody else may have put there

constexpr std::array<const char*, 5> Registers{"total", "tariff1", "tariff2", "tariff3", "tariff4"};
constexpr std::array<const char*, 5> RegisterNames{"Energy", "Tariff 1", "Tariff 2", "Tariff 3", "Tariff 4"};

size_t RegistersOf(bool hasTariffs)
{
    return hasTariffs ? Registers.size() : 1;
}

QByteArray Json(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QString Harmless(const QString& text)
{
    return Shown(text.toUtf8());
}

QByteArray Payload(const AnnouncedRow& reading, bool hasTariffs)
{
    QJsonObject object{{u"at"_s, reading.at.toOffsetFromUtc(reading.at.offsetFromUtc()).toString(Qt::ISODate)}};
    for (size_t i = 0; i < RegistersOf(hasTariffs); ++i)
        object.insert(QLatin1StringView(Registers.at(i)), std::round(reading.energy.at(i) * 1000) / 1000);
    return Json(object);
}

QJsonObject EnergySensor(const QString& device, size_t place)
{
    const QString key = QString::fromLatin1(Registers.at(place));
    return {{u"p"_s, u"sensor"_s}, {u"unique_id"_s, device + u'_' + key},
        {u"name"_s, QString::fromLatin1(RegisterNames.at(place))}, {u"device_class"_s, u"energy"_s},
        {u"state_class"_s, u"total_increasing"_s}, {u"unit_of_measurement"_s, u"kWh"_s},
        {u"value_template"_s, u"{{ value_json."_s + key + u" }}"_s}};
}

QJsonObject TimeSensor(const QString& device)
{
    return {{u"p"_s, u"sensor"_s}, {u"unique_id"_s, device + u"_at"_s}, {u"name"_s, u"Last reading"_s},
        {u"device_class"_s, u"timestamp"_s}, {u"value_template"_s, u"{{ value_json.at }}"_s}};
}

} // namespace

bool AnnouncedRow::IsReading() const
{
    const auto isFinite = [](double value) { return std::isfinite(value); };
    return status == 0 && at.isValid() && energy != std::array<double, 5>{}
    && std::all_of(energy.begin(), energy.end(), isFinite);
}

MeterAnnouncements::MeterAnnouncements(
    const QString& prefix, const QString& discovery_, const QString& controller_, const QString& version_)
    : base(prefix.toUtf8() + '/' + Level(controller_)),
      discovery(discovery_.toUtf8()),
      controller(controller_),
      version(version_)
{
}

MqttMessage MeterAnnouncements::Availability(bool isOnline) const
{
    return {.topic = base + "/availability", .payload = isOnline ? "online" : "offline", .retain = true};
}

MqttMessage MeterAnnouncements::Meters(const QList<qint32>& globalIds) const
{
    QJsonArray ids;
    for (const qint32 id : globalIds)
        ids.append(id);
    return {.topic = MetersTopic(), .payload = QJsonDocument(ids).toJson(QJsonDocument::Compact), .retain = true};
}

MqttMessage MeterAnnouncements::State(const AnnouncedRow& reading, bool hasTariffs) const
{
    return {.topic = TopicOf(reading.globalId, "state"), .payload = Payload(reading, hasTariffs), .retain = true};
}

MqttMessage MeterAnnouncements::Reading(const AnnouncedRow& reading, bool hasTariffs) const
{
    return {.topic = TopicOf(reading.globalId, "reading"), .payload = Payload(reading, hasTariffs), .retain = false};
}

MqttMessage MeterAnnouncements::Config(const AnnouncedMeter& meter) const
{
    const QString device = QString::fromLatin1(Device(meter.globalId));
    const QString model = Harmless(meter.model);
    const QString number = Harmless(meter.number);
    QJsonObject components{{u"at"_s, TimeSensor(device)}};
    for (size_t i = 0; i < RegistersOf(meter.hasTariffs); ++i)
        components.insert(QLatin1StringView(Registers.at(i)), EnergySensor(device, i));

    QJsonObject about{{u"ids"_s, QJsonArray{device}}, {u"name"_s, u"%1 %2"_s.arg(model, number)}, {u"mdl"_s, model},
        {u"sn"_s, number}};
    if (meter.isSubstation)
        about.insert(u"name"_s, u"Substation "_s + Harmless(controller));
    return {.topic = ConfigTopic(meter.globalId),
        .payload = Json({{u"dev"_s, about}, {u"o"_s, QJsonObject{{u"name"_s, u"ravelin-hub"_s}, {u"sw"_s, version}}},
            {u"cmps"_s, components}, {u"state_topic"_s, QString::fromUtf8(TopicOf(meter.globalId, "state"))},
            {u"availability_topic"_s, QString::fromUtf8(base + "/availability")}, {u"qos"_s, 1}}),
        .retain = true};
}

QList<MqttMessage> MeterAnnouncements::Removal(qint32 globalId) const
{
    QList<MqttMessage> messages{{.topic = TopicOf(globalId, "state"), .payload = {}, .retain = true}};
    if (HasDiscovery())
        messages.prepend({.topic = ConfigTopic(globalId), .payload = {}, .retain = true});
    return messages;
}

QList<qint32> MeterAnnouncements::MetersIn(const QByteArray& payload)
{
    QList<qint32> ids;
    const QJsonArray array = QJsonDocument::fromJson(payload).array();
    for (qsizetype i = 0; i < std::min(array.size(), MostMeters); ++i) {
        const double number = array.at(i).toDouble(std::nan(""));
        if (number == std::floor(number) && std::abs(number) <= 0x7FFFFFFF)
            ids.append(static_cast<qint32>(number));
    }
    return ids;
}

QByteArray MeterAnnouncements::Level(const QString& text)
{
    constexpr QByteArrayView Kept = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-";
    QByteArray level;
    for (const char byte : text.toUtf8().left(LongestLevel))
        level += Kept.contains(byte) ? QByteArray(1, byte) : '_' + QByteArray(1, byte).toHex();
    return level.isEmpty() ? "_" : level;
}

bool MeterAnnouncements::IsTopicPrefix(const QString& text)
{
    const auto isForbidden = [](QChar character) {
        return character == u'+' || character == u'#' || character.category() == QChar::Other_Control
            || character.isSurrogate() || character.isNonCharacter();
    };
    return !text.isEmpty() && !text.startsWith(u'$') && text.toUtf8().size() <= LongestPrefix
        && !text.split(u'/').contains(QString()) && std::none_of(text.begin(), text.end(), isForbidden);
}

QByteArray MeterAnnouncements::TopicOf(qint32 globalId, const char* last) const
{
    return base + '/' + QByteArray::number(globalId) + '/' + last;
}

QByteArray MeterAnnouncements::Device(qint32 globalId) const
{
    return "ravelin_" + Level(controller) + '_' + QByteArray::number(globalId);
}
