#include "announcesettings.h"

#include "meterannouncer.h"
#include "settingsfile.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

class Texts final {
    Q_DECLARE_TR_FUNCTIONS(AnnounceSettings)
};

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

/// Empty: it can be read.
QString WhyUnreadable(const QString& path)
{
    if (QFileInfo(path).isDir())
        return Texts::tr("it is a directory");
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString() : file.errorString();
}

void CheckFile(const QString& key, const QString& path, QStringList& problems)
{
    if (const QString why = path.isEmpty() ? QString() : WhyUnreadable(path); !why.isEmpty())
        problems += Texts::tr("MQTT/%1: the file %2 cannot be read: %3").arg(key, path, why);
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
        problems += Texts::tr("MQTT/Broker is \"%1\", neither HOST nor HOST:PORT").arg(brokerText);
    for (const auto& [key, path] : {std::pair(u"PasswordFile"_s, passwordFile), std::pair(u"CaFile"_s, broker.caFile),
             std::pair(u"CertFile"_s, broker.certFile), std::pair(u"KeyFile"_s, broker.keyFile)})
        CheckFile(key, path, problems);
    if (!passwordFile.isEmpty() && broker.user.isEmpty())
        problems += Texts::tr("MQTT/PasswordFile: a password needs MQTT/User");
    if (broker.certFile.isEmpty() != broker.keyFile.isEmpty())
        problems += Texts::tr("MQTT/CertFile and MQTT/KeyFile: one needs the other");
    if (!broker.certFile.isEmpty() && broker.caFile.isEmpty())
        problems += Texts::tr("MQTT/CertFile: without MQTT/CaFile there is no TLS");
    if (!MeterAnnouncements::IsTopicPrefix(settings.prefix))
        problems += Texts::tr("MQTT/Prefix is \"%1\", with which no topic can begin").arg(settings.prefix);
    if (!settings.discovery.isEmpty() && !MeterAnnouncements::IsTopicPrefix(settings.discovery))
        problems += Texts::tr("MQTT/Discovery is \"%1\", with which no topic can begin").arg(settings.discovery);
    if (problems.size() > before) {
        problems += Texts::tr("The broker gets nothing until that is mended");
        return std::nullopt;
    }
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
