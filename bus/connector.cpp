#include "connector.h"

#include "ending.h"
#include "localserver.h"
#include "log.h"

#include <QThread>
#include <QTimerEvent>

#include <poll.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int ReconnectEveryMs = 5000;
constexpr int LongestWaitMs = 30000;
constexpr int AdminLostExitCode = 5;

// QLocalSocket's own wait spins while the peer's backlog is full, and knows of no requested end.
bool WaitForConnected(QLocalSocket& socket)
{
    constexpr int SliceMs = 20;
    for (int waited = 0; socket.state() == QLocalSocket::ConnectingState && waited < LongestWaitMs; waited += SliceMs) {
        QThread::msleep(SliceMs);
        Ending::LeaveIfRequested();
        socket.waitForConnected(0);
    }
    return socket.state() == QLocalSocket::ConnectedState;
}

void Disconnect(QLocalSocket& socket)
{
    if (socket.state() == QLocalSocket::UnconnectedState)
        return;
    socket.flush();
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState)
        socket.waitForDisconnected(LongestWaitMs);
}

/// Why a connection did not come about, in words for the operator.
QString Obstacle(QLocalSocket::LocalSocketError error, const QString& otherwise)
{
    switch (error) {
    case QLocalSocket::ServerNotFoundError:
        return TConnector::tr("there is no such socket");
    case QLocalSocket::ConnectionRefusedError:
        return TConnector::tr("nobody listens");
    case QLocalSocket::SocketAccessError:
        return TConnector::tr("no permission to connect");
    default:
        return otherwise;
    }
}

void Connect(TMyLocalSocket& socket, const QByteArray& identify)
{
    socket.connectToServer(QString::fromUtf8(socket.Name), QIODevice::ReadWrite);
    if (WaitForConnected(socket))
        socket.WriteFrame(identify);
    else
        socket.abort();
}

} // namespace

TConnector::TConnector(QObject* parent)
    : QObject(parent),
      AdminConnection(new TMyLocalSocket(this)),
      Server(new TMyLocalServer(this))
{
    connect(AdminConnection, &QLocalSocket::disconnected, this, &TConnector::DisconnectAdminConnection);
    connect(AdminConnection, &QLocalSocket::connected, this, &TConnector::newOutConnection);
    connect(AdminConnection, &QLocalSocket::errorOccurred, this, &TConnector::connectionAdminError);
    connect(AdminConnection, &TMyLocalSocket::NewData, this, &TConnector::SlotNewData);
    connect(Server, &TMyLocalServer::newConnection, this, &TConnector::newInConnection);
    Ending::WatchWhileWaiting(this, [this] { LookForLostAdmin(); });
}

void TConnector::SetServerName(const QString& name)
{
    ServerName = name;
    ServerNotStarted = true;
    reconnectTimer.start(ReconnectEveryMs, Qt::PreciseTimer, this);
}

void TConnector::addOutServerName(const QString& name)
{
    const QByteArray utf8Name = name.toUtf8();
    for (const TMyLocalSocket* const socket : std::as_const(OutConnections))
        if (socket->Name == utf8Name)
            return;

    auto* const socket = new TMyLocalSocket(this);
    socket->Name = utf8Name;
    connect(socket, &QLocalSocket::disconnected, this, &TConnector::DisconnectOutConnection);
    connect(socket, &QLocalSocket::connected, this, &TConnector::newOutConnection);
    connect(socket, &QLocalSocket::errorOccurred, this, &TConnector::connectionOutError);
    connect(socket, &TMyLocalSocket::NewData, this, &TConnector::SlotNewData);
    OutConnections.append(socket);
}

void TConnector::SetData(uchar version, const QString& name, const QByteArray& data)
{
    const QByteArray frame = BusFrame::Encode(BusFrame::Data{version, data});
    const QByteArray utf8Name = name.toUtf8();
    for (TMyLocalSocket* const socket : OutConnections + InConnections)
        if (socket->isValid() && socket->Name == utf8Name)
            socket->WriteFrame(frame);
}

void TConnector::SetDataAll(uchar version, const QByteArray& data)
{
    const QByteArray frame = BusFrame::Encode(BusFrame::Data{version, data});
    for (TMyLocalSocket* const socket : OutConnections + InConnections)
        socket->WriteFrame(frame);
}

void TConnector::SetOutDataAll(uchar version, const QByteArray& data)
{
    const QByteArray frame = BusFrame::Encode(BusFrame::Data{version, data});
    const QList<TMyLocalSocket*> peers = OutConnections;
    for (TMyLocalSocket* const socket : peers)
        socket->WriteFrame(frame);
}

bool TConnector::CommandWaits(QByteArrayView name) const
{
    for (TMyLocalSocket* const socket : QList{AdminConnection} + OutConnections + InConnections)
        if (BusFrame::HoldsCommand(socket->PeekAll(), socket->BlockSize, name))
            return true;
    return false;
}

void TConnector::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != reconnectTimer.timerId())
        return;
    const QByteArray identify = BusFrame::Encode(BusFrame::Identify{ServerName.toUtf8()});

    // The own server shows peers that this process is ready: at first it waits until all connections stood for a tick.
    if (!OutConnectionsStood(identify) && ServerNotStarted) {
        TellWhoIsWaitedFor();
        return;
    }
    if (ReconnectAdmin(identify) && ServerNotStarted)
        return;
    StartServer();
}

/// Reconnects what is down. True when every peer had been connected before.
bool TConnector::OutConnectionsStood(const QByteArray& identify)
{
    bool allStood = true;
    const QList<TMyLocalSocket*> peers = OutConnections; // a disconnection replaces the socket in the list
    for (TMyLocalSocket* const socket : peers) {
        if (socket->state() == QLocalSocket::ConnectedState)
            continue;
        allStood = false;
        Disconnect(*socket);
        if (OutConnections.contains(socket))
            Connect(*socket, identify);
    }
    return allStood;
}

/// True when a connection was attempted.
bool TConnector::ReconnectAdmin(const QByteArray& identify)
{
    if (AdminConnection->state() == QLocalSocket::ConnectedState || AdminConnection->Name.isEmpty())
        return false;
    Disconnect(*AdminConnection);
    adminObstacle = tr("it takes no connection");
    Connect(*AdminConnection, identify);
    const QString name = QString::fromUtf8(AdminConnection->Name);
    if (AdminConnection->state() == QLocalSocket::ConnectedState)
        administrator.Works(tr("The administrative server %1 is connected").arg(name));
    else
        administrator.Fails(tr("The administrative server %1 cannot be reached: %2").arg(name, adminObstacle));
    return true;
}

void TConnector::TellWhoIsWaitedFor()
{
    QStringList missing;
    for (const TMyLocalSocket* const socket : std::as_const(OutConnections))
        if (socket->state() != QLocalSocket::ConnectedState)
            missing.append(QString::fromUtf8(socket->Name));
    if (!missing.isEmpty())
        administrator.Fails(
            tr("The administrative server has to wait until these peers are connected: %1").arg(missing.join(u' ')));
}

void TConnector::StartServer()
{
    if (!Server->isListening()) {
        QLocalServer::removeServer(ServerName);
        if (Server->listen(ServerName)) {
            Log(tr("Start server: %1 Ok!!!! \n").arg(ServerName));
        } else {
            Log(tr("Start Error: %1\n").arg(Server->errorString()));
            Server->close();
        }
    }
    ServerNotStarted = false;
}

// The event loop stands still during a wait, and with it DisconnectAdminConnection().
void TConnector::LookForLostAdmin()
{
    if (AdminConnection->state() != QLocalSocket::ConnectedState)
        return;
    pollfd admin = {static_cast<int>(AdminConnection->socketDescriptor()), POLLRDHUP, 0};
    if (::poll(&admin, 1, 0) <= 0)
        return;
    emit ConnectionLost();
    Ending::Request(AdminLostExitCode, tr("Admin connection is closed. Stopping application."));
}

void TConnector::connectionInError(QLocalSocket::LocalSocketError)
{
    TMyLocalSocket* const socket = SenderSocket();
    emit ConnectionLost();
    InConnections.removeOne(socket);
    socket->abort();
    socket->setParent(nullptr);
    socket->deleteLater();
    Log(tr("Connection In Error: %0\n").arg(QString::fromUtf8(socket->Name)));
}

void TConnector::connectionAdminError(QLocalSocket::LocalSocketError error)
{
    adminObstacle = Obstacle(error, AdminConnection->errorString());
    emit ConnectionLost();
    AdminConnection->abort();
}

void TConnector::DisconnectInConnection()
{
    TMyLocalSocket* const socket = SenderSocket();
    InConnections.removeOne(socket);
    socket->setParent(nullptr); // the server would delete its child a second time
    socket->deleteLater();
    Log(tr("Connection in disconnection: %0\n").arg(QString::fromUtf8(socket->Name)));
}

void TConnector::newInConnection(TMyLocalSocket* socket)
{
    connect(socket, &QLocalSocket::disconnected, this, &TConnector::DisconnectInConnection);
    connect(socket, &QLocalSocket::errorOccurred, this, &TConnector::connectionInError);
    connect(socket, &TMyLocalSocket::NewData, this, &TConnector::SlotNewData);
    InConnections.append(socket);
    Log(tr("New In Connection %0\n").arg(QString::fromUtf8(socket->Name)));
}

void TConnector::newOutConnection()
{
    Log(tr("New Out Connnection\n"));
}

void TConnector::connectionOutError(QLocalSocket::LocalSocketError)
{
    TMyLocalSocket* const socket = SenderSocket();
    Log(tr("Connnection Out Error: %1 %2\n").arg(QString::fromUtf8(socket->Name), socket->errorString()));
    emit ConnectionLost();
    socket->abort();
}

void TConnector::DisconnectOutConnection()
{
    TMyLocalSocket* const socket = SenderSocket();
    const QString name = QString::fromUtf8(socket->Name);
    Log(tr("Connnection Disconnect: %0\n").arg(name));
    socket->abort();
    OutConnections.removeOne(socket);
    addOutServerName(name);
    socket->deleteLater();
}

void TConnector::DisconnectAdminConnection()
{
    Ending::Request(AdminLostExitCode, tr("Admin connection is closed. Stopping application."));
}

void TConnector::SlotNewData(TMyLocalSocket* socket)
{
    for (;;) {
        switch (BusFrame::NextStep(socket->BlockSize, socket->bytesAvailable())) {
        case BusFrame::Step::Wait:
            return;
        case BusFrame::Step::Refuse:
            socket->abort();
            return;
        case BusFrame::Step::ReadLength:
            socket->BlockSize = BusFrame::Length(socket->read(BusFrame::LengthFieldSize));
            break;
        case BusFrame::Step::ReadBody:
            BusFrame::Frame frame = BusFrame::Decode(socket->read(socket->BlockSize));
            socket->BlockSize = 0;
            std::visit([this, socket](auto& received) { Receive(received, socket); }, frame);
        }
    }
}

void TConnector::Receive(const BusFrame::Identify& frame, TMyLocalSocket* socket)
{
    socket->Name = frame.name;
}

void TConnector::Receive(BusFrame::Action& frame, TMyLocalSocket* socket)
{
    emit NewAction(frame.actionName, frame.message, frame.data, frame.idConnection, socket);
}

void TConnector::Receive(BusFrame::Command& frame, TMyLocalSocket* socket)
{
    if (frame.commandName == "Watch_Arrow_On"_ba)
        WatchArrow = true;
    else if (frame.commandName == "Watch_Arrow_Off"_ba)
        WatchArrow = false;
    else
        emit NewCommand(frame.commandName, frame.data, frame.idConnection, socket);
}

void TConnector::Receive(const BusFrame::BusMessage& frame, TMyLocalSocket*)
{
    emit NewBusMessage(frame.iface, frame.data, frame.idConnect);
}

void TConnector::Receive(BusFrame::Data& frame, TMyLocalSocket* socket)
{
    if (frame.data.isEmpty())
        return;
    if (WatchArrow) {
        const QByteArray version = QByteArray::number(frame.version);
        AdminConnection->WriteFrame(BusFrame::Encode(BusFrame::Action{"Watch_Arrow"_ba, version, frame.data, -1}));
    }
    emit NewData(frame.version, frame.data, socket);
}

TMyLocalSocket* TConnector::SenderSocket() const
{
    return static_cast<TMyLocalSocket*>(sender());
}
