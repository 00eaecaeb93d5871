#pragma once

#include <QObject>
#include <QSettings>
#include <QString>

class TConnector;

/// A process on the bus: its connector, its bus settings, and what it can report to the administrative server.
class TServerPlugin : public QObject {
    Q_OBJECT

public:
    explicit TServerPlugin(QObject* parent = nullptr);
    /// Deletes the template settings file as well: it exists only for the life of the plug-in.
    ~TServerPlugin() override;

    /// Reads the bus settings (group "Base") from `fileName`, or from the program's default settings file when that is
    /// empty; creates the process's log and sets the connector going. Always true: what is missing or wrong is logged,
    /// and its default applies.
    bool LoadSettings(const QString& fileName);

    /// The template settings, created on the first call; owned by the plug-in. Part of the given interface; the daemon
    /// does not call it.
    QSettings* prepareTemplateSettings();

    /// Opens a database connection as the support library's function of that name does. On failure logs why. Part of
    /// the given interface; the daemon does not call it.
    bool openDataBaseBySettings(
        QString& connectionName, QSettings& settings, const QString& group, const QString& extra);

    /// One Action frame to the administrative server.
    void SetAction(const QByteArray& action_name, const QByteArray& message, const QByteArray& data, int IDConnection);
    /// One Bus message frame to the administrative server. Part of the given interface; the daemon does not call it.
    void SendBusMessage(const QByteArray& iface, const QByteArray& data, int idConnect);

    /// Called once, when all settings are loaded.
    virtual void Start() { }

    TConnector* const Connector;

private:
    void CreateLog(const QString& fileName, int level);

    QSettings* TemplateSettings = nullptr;
};
