// The connections that this process makes, to the peers and to the administrator, and its own server: every tick brings
// up what is down.

#include "connector.h"
#include "ending.h"
#include "heap.h"
#include "localserver.h"
#include "log.h"
#include "service.h"
#include "shown.h"

#include <QSignalBlocker>
#include <QThread>
#include <QTimerEvent>

#include <poll.h>

namespace {

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

} // namespace

void TConnector::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != reconnectTimer.timerId())
        return;
    const Liveness::Aside aside(Service::Work());
    incomingLog.PeriodEnds(tr("... and %1 more lines about connections that came and went"));
    refusalLog.PeriodEnds(tr("... and %1 more refusals"));
    GiveBackFreedHeap();
    const QByteArray identify = BusFrame::Encode(BusFrame::Identify{ServerName.toUtf8()});

    if (field.Has(FieldConduct::Bus)) {
        WaitForNobody(identify);
        return;
    }
    // The own server shows peers that this process is ready: at first it waits until all connections stood for a tick.
    if (!OutConnectionsStood(identify) && ServerNotStarted) {
        TellWhoIsWaitedFor();
        return;
    }
    if (ReconnectAdmin(identify) && ServerNotStarted)
        return;
    StartServer();
}

/// The own server, then the administrator, then the peers: a peer that takes no connections blocks, but only those
/// behind it.
void TConnector::WaitForNobody(const QByteArray& identify)
{
    StartServer();
    static_cast<void>(ReconnectAdmin(identify));
    static_cast<void>(OutConnectionsStood(identify));
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
    Connect(*AdminConnection, identify);
    const QString name = Shown(AdminConnection->Name);
    if (AdminConnection->state() == QLocalSocket::ConnectedState)
        administrator.Works(tr("The administrative server %1 is connected").arg(name));
    else
        administrator.Fails(tr("The administrative server %1 cannot be reached: %2").arg(name, obstacle));
    return true;
}

void TConnector::Connect(TMyLocalSocket& socket, const QByteArray& identify)
{
    Service::Step(); // each may take long
    socket.connectToServer(QString::fromUtf8(socket.Name), QIODevice::ReadWrite);
    if (!WaitForConnected(socket)) {
        if (socket.state() == QLocalSocket::ConnectingState)
            TellObstacle(socket, tr("it does not take its connections, its queue of them is full"));
        socket.abort();
        return;
    }
    if (const auto user = users.Refused(socket.socketDescriptor())) {
        TellObstacle(socket, tr("it belongs to the user with number %1, who is not among BusUsers").arg(*user));
        const QSignalBlocker quiet(socket); // nobody has heard of this connection, and nobody shall of its end
        socket.abort();
        return;
    }
    socket.ToldObstacle.clear();
    socket.WriteFrame(identify);
}

/// What keeps `socket` from being connected, once per reason.
void TConnector::TellObstacle(TMyLocalSocket& socket, const QString& reason)
{
    obstacle = reason;
    if (socket.ToldObstacle == reason)
        return;
    socket.ToldObstacle = reason;
    Log(tr("Cannot connect to %1: %2").arg(Shown(socket.Name), reason), Severity::Warning);
}

void TConnector::TellWhoIsWaitedFor()
{
    QStringList missing;
    for (const TMyLocalSocket* const socket : std::as_const(OutConnections))
        if (socket->state() != QLocalSocket::ConnectedState)
            missing.append(Shown(socket->Name));
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
            Log(tr("Start Error: %1\n").arg(Server->errorString()), Severity::Error);
            Server->close();
        }
    }
    ServerNotStarted = false;
}

// The event loop stands still during a wait, and with it DisconnectAdminConnection().
void TConnector::LookForLostAdmin()
{
    if (field.Has(FieldConduct::Bus) || AdminConnection->state() != QLocalSocket::ConnectedState)
        return;
    pollfd admin = {static_cast<int>(AdminConnection->socketDescriptor()), POLLRDHUP, 0};
    if (::poll(&admin, 1, 0) <= 0)
        return;
    emit ConnectionLost(AdminConnection);
    Ending::Request(AdminLostExitCode, tr("Admin connection is closed. Stopping application."));
}

void TConnector::newOutConnection()
{
    if (!users.Refused(SenderSocket()->socketDescriptor()))
        Log(tr("New Out Connnection\n"));
}

// An administrator who is not there is normal, and is not logged.
void TConnector::connectionAdminError(QLocalSocket::LocalSocketError error)
{
    switch (error) {
    case QLocalSocket::ServerNotFoundError:
        obstacle = tr("there is no such socket");
        break;
    case QLocalSocket::ConnectionRefusedError:
        obstacle = tr("nobody listens");
        break;
    case QLocalSocket::SocketAccessError:
        TellObstacle(*AdminConnection, tr("no permission to connect"));
        break;
    default:
        obstacle = AdminConnection->errorString();
    }
    emit ConnectionLost(AdminConnection);
    AdminConnection->abort();
}

void TConnector::connectionOutError(QLocalSocket::LocalSocketError)
{
    TMyLocalSocket* const socket = SenderSocket();
    Log(tr("Connnection Out Error: %1 %2\n").arg(Shown(socket->Name), socket->errorString()), Severity::Warning);
    emit ConnectionLost(socket);
    socket->abort();
}

void TConnector::DisconnectOutConnection()
{
    TMyLocalSocket* const socket = SenderSocket();
    Log(tr("Connnection Disconnect: %0\n").arg(Shown(socket->Name)));
    socket->abort();
    LetGo(socket);
    OutConnections.removeOne(socket);
    addOutServerName(QString::fromUtf8(socket->Name));
    socket->deleteLater();
}

void TConnector::DisconnectAdminConnection()
{
    if (field.Has(FieldConduct::Bus)) {
        Log(tr("The administrative server %1 is lost, and will be connected again").arg(Shown(AdminConnection->Name)),
            Severity::Warning);
        return;
    }
    Ending::Request(AdminLostExitCode, tr("Admin connection is closed. Stopping application."));
}
