#include "serverplugin.h"

#include "connector.h"
#include "database.h"
#include "defaultpaths.h"
#include "log.h"
#include "settingsfile.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace {
const auto NoName = u"NoName"_s; // how a bus name reads that was not configured
}

TServerPlugin::TServerPlugin(QObject* parent) : QObject(parent), Connector(new TConnector(this)) { }

TServerPlugin::~TServerPlugin()
{
    if (!TemplateSettings)
        return;
    const QString fileName = TemplateSettings->fileName();
    delete TemplateSettings;
    QFile::remove(fileName);
}

bool TServerPlugin::LoadSettings(const QString& fileName)
{
    SettingsFile settings(fileName.isEmpty() ? getIniNameDefault(false) : fileName);
    CreateLog(settings.Text(u"Base/LogName"_s, {}), settings.Integer(u"Base/Log"_s, 0));
    settings.ReportFileProblem();
    settings.ReportValueProblems();

    QString adminServerName = settings.Text(u"Base/AdminServerName"_s, NoName);
    if (adminServerName == NoName) {
        Log(tr("Error load settings AdminServerName: NoName "), Severity::Warning);
        adminServerName = u"No_AdminServer_name"_s;
    }
    Connector->AdminConnection->Name = adminServerName.toUtf8();

    const QString serverName = settings.Text(u"Base/ServerName"_s, NoName);
    if (serverName != NoName)
        Connector->SetServerName(serverName);
    else
        Log(tr("Error load settings ServerName: NoName "), Severity::Warning);

    const PeerUsers users(settings.Text(u"Field/BusUsers"_s, {}));
    for (const QString& name : users.Unknown())
        pLog->Alert(tr("Field/BusUsers: there is no user %1").arg(name));
    Connector->SetPeerUsers(users);

    const QString connections = settings.Text(u"Base/Connections"_s, NoName);
    if (connections == NoName || connections.isEmpty())
        Log(tr("Warrning: No Connections "));
    else
        for (const QString& name : connections.split(u' ', Qt::SkipEmptyParts))
            Connector->addOutServerName(name);
    return true;
}

QSettings* TServerPlugin::prepareTemplateSettings()
{
    if (!TemplateSettings) {
        TemplateSettings = new QSettings(getIniNameDefault(true), QSettings::IniFormat);
        TemplateSettings->setFallbacksEnabled(false);
    }
    return TemplateSettings;
}

bool TServerPlugin::openDataBaseBySettings(
    QString& connectionName, QSettings& settings, const QString& group, const QString& extra)
{
    const QSqlError error = ::openDataBaseBySettings(connectionName, settings, group, extra);
    if (!error.isValid())
        return true;
    Log(tr("Cannot open database %1: %2").arg(connectionName, error.text()), Severity::Error);
    return false;
}

void TServerPlugin::SetAction(
    const QByteArray& action_name, const QByteArray& message, const QByteArray& data, int IDConnection)
{
    Connector->AdminConnection->WriteFrame(
        BusFrame::Encode(BusFrame::Action{action_name, message, data, IDConnection}));
}

void TServerPlugin::SendBusMessage(const QByteArray& iface, const QByteArray& data, int idConnect)
{
    Connector->AdminConnection->WriteFrame(BusFrame::Encode(BusFrame::BusMessage{iface, data, idConnect}));
}

void TServerPlugin::CreateLog(const QString& fileName, int level)
{
    delete pLog;
    pLog = new TLog(fileName.isEmpty() ? TLog::getDirPathDefault(ProgramBaseName()) : fileName);
    pLog->Level = level;
    pLog->Enabled(level != 0);
}
