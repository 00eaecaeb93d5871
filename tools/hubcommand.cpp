#include "hubcommand.h"

#include "settingsfile.h"
#include "texts.h"

#include <QUrl>

using namespace Qt::StringLiterals;

void HubCommand::AddOptions(CommandLine& line)
{
    const QString usual = u"/run/ravelin/hub.sock"_s;
    line.AddOption(
        u"hub"_s, Texts::tr("file"), Texts::tr("The socket where the hub listens (default: %1).").arg(usual), usual);
    line.AddOption(u"controller"_s, Texts::tr("name"),
        Texts::tr("One of the hub's daemons, by its ServerName; --settings names it, too, by its file."), {});
}

HubClient HubCommand::Client(const CommandLine& line)
{
    return HubClient(line.Option(u"hub"_s));
}

std::optional<QString> HubCommand::Controller(const CommandLine& line)
{
    const QString named = line.Option(u"controller"_s);
    const QString file = line.Option(u"settings"_s);
    if (!named.isEmpty() || file.isEmpty())
        return named;
    const SettingsFile settings(file);
    const QString server = settings.Text(u"Base/ServerName"_s, {});
    if (!settings.FileProblem().isEmpty() || server.isEmpty()) {
        Complain(
            settings.FileProblem().isEmpty() ? Texts::tr("%1 has no ServerName.").arg(file) : settings.FileProblem());
        return std::nullopt;
    }
    return server;
}

QString HubCommand::Target(const QString& path, const QString& controller, const QString& query)
{
    QStringList parts;
    if (!controller.isEmpty())
        parts.append("controller="_L1 + QString::fromLatin1(QUrl::toPercentEncoding(controller)));
    if (!query.isEmpty())
        parts.append(query);
    return parts.isEmpty() ? path : path + u'?' + parts.join(u'&');
}
