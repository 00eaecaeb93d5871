#include "hubsettings.h"

#include "peerusers.h"
#include "settingsfile.h"

#include <QCoreApplication>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1StringView Keys[] = {"Hub/AdminName"_L1, "Hub/BusUsers"_L1, "Hub/Daemons"_L1, "Hub/Deadline"_L1,
    "Hub/KeepDays"_L1, "Hub/LedgerDays"_L1, "Hub/Listen"_L1, "Hub/Log"_L1, "Hub/LogName"_L1, "Hub/OpenReading"_L1,
    "Hub/PeerName"_L1, "Hub/Socket"_L1, "Hub/SocketGroup"_L1, "Hub/SweepsDirectory"_L1, "Hub/TokenFile"_L1,
    "Hub/Traffic"_L1, "MQTT/Broker"_L1, "MQTT/CaFile"_L1, "MQTT/CertFile"_L1, "MQTT/Discovery"_L1, "MQTT/KeyFile"_L1,
    "MQTT/PasswordFile"_L1, "MQTT/Prefix"_L1, "MQTT/User"_L1};

class Texts final {
    Q_DECLARE_TR_FUNCTIONS(HubSettings)
};

/// The settings with what is wrong in them.
class Reader final {
public:
    explicit Reader(SettingsFile& settingsFile) : file(settingsFile) { }

    /// A value that must not be empty.
    QString Text(QLatin1StringView key, const QString& defaultValue)
    {
        const QString value = file.Text(key, defaultValue).trimmed();
        if (!value.isEmpty())
            return value;
        file.AddProblem(Texts::tr("%1 is empty. The default %2 applies").arg(key, defaultValue));
        return defaultValue;
    }

    int Integer(QLatin1StringView key, int defaultValue, int most)
    {
        const int value = file.Integer(key, defaultValue);
        if (value >= 1 && value <= most)
            return value;
        const QString text = Texts::tr("%1 is %2, not 1 to %3. The default %4 applies");
        file.AddProblem(text.arg(key).arg(value).arg(most).arg(defaultValue));
        return defaultValue;
    }

    /// Whether the value is `yes`; otherwise it is `no`, the default.
    bool Choice(QLatin1StringView key, QLatin1StringView yes, QLatin1StringView no)
    {
        const QString value = file.Text(key, no);
        if (value != yes && value != no)
            file.AddProblem(Texts::tr("%1 is \"%2\", neither %3 nor %4. %4 applies").arg(key, value, yes, no));
        return value == yes;
    }

    QTime Time(QLatin1StringView key, const QString& defaultValue)
    {
        const QString value = file.Text(key, defaultValue);
        const QTime time = QTime::fromString(value, u"hh:mm"_s);
        if (time.isValid())
            return time;
        file.AddProblem(Texts::tr("%1 is \"%2\", no time as in %3, which applies").arg(key, value, defaultValue));
        return QTime::fromString(defaultValue, u"hh:mm"_s);
    }

    SettingsFile& file;
};

/// A controller's name becomes a directory's.
bool CanBeDirectory(const QString& name)
{
    return !name.contains(u'/') && !name.startsWith(u'.') && name.toUtf8().size() <= 100;
}

std::optional<HubDaemon> ReadDaemon(const QString& fileName, const HubSettings& hub, SettingsFile& file)
{
    const auto noName = u"NoName"_s; // how the daemon's own settings say it
    SettingsFile daemon(fileName);
    const SysVar vars = ReadSysVar(daemon);
    file.TakeProblems(daemon);
    const QString controller = daemon.Text(u"Base/ServerName"_s, noName).trimmed();
    const auto isTaken = [&controller](const HubDaemon& other) { return other.controller == controller; };
    if (controller == noName || controller.isEmpty()) {
        file.AddProblem(Texts::tr("%1 has no ServerName: that daemon cannot be connected").arg(fileName));
        return std::nullopt;
    }
    if (!CanBeDirectory(controller)) {
        file.AddProblem(
            Texts::tr("%1 has the ServerName \"%2\", which cannot be a directory's name: that daemon is left out")
                .arg(fileName, controller));
        return std::nullopt;
    }
    if (controller == hub.adminName || controller == hub.peerName) {
        file.AddProblem(Texts::tr("%1 has the ServerName %2, which is the hub's own: that daemon is left out")
                            .arg(fileName, controller));
        return std::nullopt;
    }
    if (std::any_of(hub.daemons.begin(), hub.daemons.end(), isTaken)) {
        file.AddProblem(
            Texts::tr("%1 has the ServerName %2, as a file before it: it is left out").arg(fileName, controller));
        return std::nullopt;
    }
    if (const QString admin = daemon.Text(u"Base/AdminServerName"_s, noName); admin != hub.adminName)
        file.AddProblem(Texts::tr("%1 has the AdminServerName \"%2\", not %3: that daemon will not connect")
                            .arg(fileName, admin, hub.adminName));
    const QStringList peers = daemon.Text(u"Base/Connections"_s, {}).split(u' ', Qt::SkipEmptyParts);
    return HubDaemon{fileName, controller, vars, peers.contains(hub.peerName)};
}

} // namespace

HubSettings ReadHubSettings(SettingsFile& file)
{
    Reader read(file);
    HubSettings hub;
    for (const QString& key : file.Keys())
        if (std::ranges::find(Keys, key) == std::end(Keys))
            file.AddProblem(Texts::tr("%1 is no setting").arg(key));
    hub.adminName = read.Text("Hub/AdminName"_L1, u"admin"_s);
    hub.peerName = read.Text("Hub/PeerName"_L1, u"hub"_s);
    if (hub.peerName == hub.adminName)
        file.AddProblem(Texts::tr("Hub/PeerName is the same as Hub/AdminName"));
    hub.busUsers = file.Text(u"Hub/BusUsers"_s, {});
    const QStringList unknownUsers = PeerUsers(hub.busUsers).Unknown();
    for (const QString& name : unknownUsers)
        file.AddProblem(Texts::tr("Hub/BusUsers: there is no user %1").arg(name));
    hub.sweepsDirectory = read.Text("Hub/SweepsDirectory"_L1, u"/var/lib/ravelin/sweeps"_s);
    hub.keepDays = read.Integer("Hub/KeepDays"_L1, 30, 36500);
    hub.socket = read.Text("Hub/Socket"_L1, u"/run/ravelin/hub.sock"_s);
    hub.socketGroup = file.Text(u"Hub/SocketGroup"_s, {}).trimmed();
    hub.listen = file.Text(u"Hub/Listen"_s, {}).trimmed();
    hub.tokenFile = file.Text(u"Hub/TokenFile"_s, {}).trimmed();
    hub.openReading = read.Choice("Hub/OpenReading"_L1, "yes"_L1, "no"_L1);
    hub.ledgerDays = read.Integer("Hub/LedgerDays"_L1, 62, 400);
    hub.deadline = read.Time("Hub/Deadline"_L1, u"06:00"_s);
    hub.trafficAlways = read.Choice("Hub/Traffic"_L1, "always"_L1, "watched"_L1);
    for (const QString& name :
        read.Text("Hub/Daemons"_L1, u"/etc/ravelin/ravelin.ini"_s).split(u' ', Qt::SkipEmptyParts))
        if (const auto daemon = ReadDaemon(name, hub, file))
            hub.daemons.append(*daemon);
    return hub;
}
