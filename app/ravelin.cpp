// The controller from its creation to its start: who talks to whom, and which settings count.

#include "ravelin.h"

#include "connector.h"
#include "ending.h"
#include "settingsfile.h"

#include <QCoreApplication>
#include <QDebug>

using namespace Qt::StringLiterals;

Ravelin::Ravelin() : TServerPlugin(nullptr)
{
    connect(Connector, &TConnector::NewCommand, this, &Ravelin::AdminCommand);
    // While a sweep waits nobody reads the bus, yet the administrator's last word must not wait with it, nor be lost
    // with an administrator who leaves behind it.
    const auto endIfTold = [this] {
        if (Connector->CommandWaits("QuitSignal"))
            EndOnQuitSignal();
    };
    Ending::WatchWhileWaiting(this, endIfTold);
    connect(Connector, &TConnector::ConnectionLost, this, [this](TMyLocalSocket* socket) {
        if (Connector->CommandWaits("QuitSignal", socket))
            EndOnQuitSignal();
    });
}

bool Ravelin::LoadSettings(const QString& fileName)
{
    TServerPlugin::LoadSettings(fileName);

    SettingsFile settings(fileName.isEmpty() ? QCoreApplication::applicationFilePath() + ".ini"_L1 : fileName);
    Settings = ReadSysVar(settings);
    Connector->SetFieldConduct(Settings.field);
    if (fileName.isEmpty()) // a file of its own; the bus settings' has been reported
        settings.ReportFileProblem();
    settings.ReportValueProblems();
    return true;
}

// Every connection between the parts of the daemon, in the order in which they come into being.
void Ravelin::Start()
{
    Modem = new ZigBee(nullptr, Settings.PortKS, true, Settings.field);
    UnicastBuffer = new ZUCASTBuffer(Modem->MainUIN, {});
    qDebug() << "openned...";

    connect(this, &Ravelin::SendBMessage, Modem, &ZigBee::SendBroadcastMessageToZDevice);
    connect(this, &Ravelin::SendMessage, Modem, &ZigBee::SendMessageToZDevice);
    connect(this, &Ravelin::ScanNet, Modem, &ZigBee::ScanNetwork);
    connect(Modem, &ZigBee::Received, this, &Ravelin::ReceivedData);
    connect(Modem, &ZigBee::NewNode, this, &Ravelin::NewDevice);

    Collector = new TCollector(UnicastBuffer, Settings, this);
    connect(Collector, &TCollector::SendBroadcastMessage, Modem, &ZigBee::SendBroadcastMessageToZDevice);
    connect(Collector, &TCollector::SendMessage, Modem, &ZigBee::SendMessageToZDevice);
    connect(Collector, &TCollector::RadioWanted, Modem, &ZigBee::UpdateZNetwork);
    connect(Modem, &ZigBee::ReceivedBCAST, Collector, &TCollector::ReceivedBCAST);
    connect(Modem, &ZigBee::ReceivedUCAST, Collector, &TCollector::ReceivedUCAST);
    connect(Collector, &TCollector::LogMessage, this, qOverload<QByteArray>(&Ravelin::ShowLog));
    connect(Collector, &TCollector::Error, this, qOverload<QString>(&Ravelin::ShowLog));
    connect(Collector, &TCollector::CounterPortData, this, &Ravelin::ShowCounterPortData);
    connect(this, &Ravelin::NeedQuery, Collector, &TCollector::NeedQuery);
    connect(Modem, &ZigBee::ReceivedNACK, Collector, &TCollector::zNACK);
    connect(Modem, &ZigBee::ReceivedACK, Collector, &TCollector::zACK);
    connect(Modem, &ZigBee::Error, Collector, &TCollector::zError);
    connect(Modem, &ZigBee::AcceptUCAST, Collector, &TCollector::zAcceptUCAST);

    qDebug() << "Send main uin to all z-devices" << Modem->SendMainUIN().toHex();
}

// The controller has no timer of its own.
void Ravelin::timerEvent(QTimerEvent*) { }
