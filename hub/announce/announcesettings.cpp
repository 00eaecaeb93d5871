#include "announcesettings.h"

#include "meterannouncer.h"
#include "settingsfile.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

constexpr quint16 PlainPort = 1883;
constexpr quint16 TlsPort = 8883;
constexpr qint64 LongestPassword = 4096;

/// "host", "host:port", "[address of IPv6]:port". False: none of these.
bool ReadBroker(const QString& text, MqttSettings& broker)
{
    static const QRegularExpression form(uR"(^(?:\[([^\[\]\s]+)\]|([^:\s\[\]/]+))(?::(\d{1,5}))?$)"_s);
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch())
        return false;
    broker.host = match.captured(1) + match.captured(2);
    if (match.capturedLength(3) == 0)
        return true;
    bool isNumber = false;
    broker.port = match.captured(3).toUShort(&isNumber);
    return isNumber && broker.port > 0;
}

QString WhyUnreadable(const QString& path)
{
    QFile file(path);
    return QFileInfo(path).isDir()       ? u"it is a directory"_s
        : file.open(QIODevice::ReadOnly) ? QString()
                                         : file.errorString();
}

void CheckFile(const QString& key, const QString& path, QStringList& problems)
{
    if (const QString why = path.isEmpty() ? QString() : WhyUnreadable(path); !why.isEmpty())
        problems += u"MQTT/%1: the file %2 cannot be read: %3."_s.arg(key, path, why);
}

QByteArray ReadPassword(const QString& path)
{
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly))
        return {};
    QByteArray line = file.readLine(LongestPassword);
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    return line;
}

} // namespace

std::optional<AnnounceSettings> ReadAnnounceSettings(const SettingsFile& file, QStringList& problems)
{
    const auto text = [&file](const char* key, const QString& otherwise = {}) {
        return file.Text(u"MQTT/"_s + QLatin1StringView(key), otherwise).trimmed();
    };
    const QString brokerText = text("Broker");
    if (brokerText.isEmpty())
        return std::nullopt;

    const qsizetype before = problems.size();
    const QString passwordFile = text("PasswordFile");
    AnnounceSettings settings{{}, text("Prefix", u"ravelin"_s), text("Discovery", u"homeassistant"_s)};
    MqttSettings& broker = settings.broker;
    broker.user = text("User");
    broker.caFile = text("CaFile");
    broker.certFile = text("CertFile");
    broker.keyFile = text("KeyFile");
    broker.port = broker.caFile.isEmpty() ? PlainPort : TlsPort;

    if (!ReadBroker(brokerText, broker))
        problems += u"MQTT/Broker: \"%1\" is not HOST or HOST:PORT."_s.arg(brokerText);
    for (const auto& [key, path] : {std::pair(u"PasswordFile"_s, passwordFile), std::pair(u"CaFile"_s, broker.caFile),
             std::pair(u"CertFile"_s, broker.certFile), std::pair(u"KeyFile"_s, broker.keyFile)})
        CheckFile(key, path, problems);
    if (!passwordFile.isEmpty() && broker.user.isEmpty())
        problems += u"MQTT/PasswordFile: a password needs MQTT/User."_s;
    if (broker.certFile.isEmpty() != broker.keyFile.isEmpty())
        problems += u"MQTT/CertFile and MQTT/KeyFile: one needs the other."_s;
    if (!broker.certFile.isEmpty() && broker.caFile.isEmpty())
        problems += u"MQTT/CertFile: without MQTT/CaFile there is no TLS."_s;
    if (!MeterAnnouncements::IsTopicPrefix(settings.prefix))
        problems += u"MQTT/Prefix: \"%1\" cannot begin a topic."_s.arg(settings.prefix);
    if (!settings.discovery.isEmpty() && !MeterAnnouncements::IsTopicPrefix(settings.discovery))
        problems += u"MQTT/Discovery: \"%1\" cannot begin a topic."_s.arg(settings.discovery);
    if (problems.size() > before)
        return std::nullopt;
    broker.password = ReadPassword(passwordFile);
    return settings;
}

MqttSettings BrokerSettings(
    const AnnounceSettings& settings, const MeterAnnouncements& announcements, const QString& controller)
{
    MqttSettings broker = settings.broker;
    // The name alone would be another machine's, too: prefixes tell sites apart.
    broker.clientId =
        "ravelin-hub-" + MeterAnnouncements::Level(settings.prefix) + '-' + MeterAnnouncements::Level(controller);
    broker.will = announcements.Availability(false);
    broker.subscriptions = MeterAnnouncer::Subscriptions(announcements);
    return broker;
}
