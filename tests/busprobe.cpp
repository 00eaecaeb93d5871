// A process on the bus, built from bus/, that says back everything it hears: the programs of the end-to-end tests hold
// its bytes against their own.

#include "connector.h"
#include "delay.h"
#include "ending.h"
#include "serverplugin.h"

#include <QCoreApplication>

namespace {

void Answer(TServerPlugin& plugin, const QByteArray& name, const QByteArray& data, int connection)
{
    if (name == "Wait_a_minute")
        Delay(60000);
    if (name == "Set_name")
        plugin.Connector->SetServerName(QString::fromUtf8(data));
    plugin.SetAction(name, data, {}, connection);
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    Ending::InstallSignalHandlers();
    TServerPlugin plugin;
    TConnector& bus = *plugin.Connector;

    QObject::connect(
        &bus, &TConnector::NewCommand, &plugin, [&](const QByteArray& name, const QByteArray& data, int connection) {
            Answer(plugin, name, data, connection);
        });
    QObject::connect(&bus, &TConnector::NewAction, &plugin,
        [&](const QByteArray& name, const QByteArray& message, const QByteArray& data, int connection) {
            plugin.SetAction(name, message, data, connection);
        });
    QObject::connect(&bus, &TConnector::NewBusMessage, &plugin,
        [&](const QByteArray& iface, const QByteArray& data, int connection) {
            plugin.SendBusMessage(iface, data, connection);
        });
    QObject::connect(
        &bus, &TConnector::NewData, &plugin, [&](uchar version, const QByteArray& data, const TMyLocalSocket* from) {
            if (data.startsWith("to all out"))
                bus.SetOutDataAll(version, data);
            else if (data.startsWith("to all"))
                bus.SetDataAll(version, data);
            else
                bus.SetData(version, QString::fromUtf8(from->Name), data);
        });

    plugin.LoadSettings(QCoreApplication::arguments().value(2));
    return QCoreApplication::exec();
}
