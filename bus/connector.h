#pragma once

#include "fieldconduct.h"
#include "frame.h"
#include "limitedlog.h"
#include "localsocket.h"
#include "necessity.h"
#include "peerusers.h"

#include <QBasicTimer>
#include <QList>
#include <QObject>
#include <QString>

class TMyLocalServer;

/// All connections of this process on the bus: one to the administrative server, one to each configured peer, and those
/// that peers open to this process's own server. Keeps them up, every 5000 ms, and turns what comes in into signals.
/// Connecting and disconnecting block, up to 30 s each.
class TConnector final : public QObject {
    Q_OBJECT

public:
    explicit TConnector(QObject* parent = nullptr);

    /// This process's own bus name. Starts the timer: without this call nothing is ever connected.
    void SetServerName(const QString& name);
    [[nodiscard]] QString GetServerName() const { return ServerName; }

    /// A peer to stay connected with; a name that is there already changes nothing.
    void addOutServerName(const QString& name);

    /// One Data frame to every peer called `name`, those connected to first. `version` becomes the frame's kind byte.
    /// Part of the given interface; the daemon does not call it.
    void SetData(uchar version, const QString& name, const QByteArray& data);
    /// One Data frame to every peer.
    void SetDataAll(uchar version, const QByteArray& data);
    /// One Data frame to the peers that this process connected to. Part of the given interface; the daemon does not
    /// call it.
    void SetOutDataAll(uchar version, const QByteArray& data);

    /// Whose processes may connect to this one, and be connected to. Anybody's in a new connector.
    void SetPeerUsers(const PeerUsers& newUsers) { users = newUsers; }

    /// Whether it waits for absent peers, and ends with the administrator. It does both in a new connector.
    void SetFieldConduct(FieldConduct conduct) { field = conduct; }

    /// Whether a peer has sent the command `name` (not empty) and it could not be handled yet, because the thread
    /// waits.
    [[nodiscard]] bool CommandWaits(QByteArrayView name) const;
    /// The same for one connection alone.
    [[nodiscard]] bool CommandWaits(QByteArrayView name, TMyLocalSocket* socket) const;

    /// The connection to the administrative server, owned by the connector. Its Name is whom to connect to.
    TMyLocalSocket* const AdminConnection;

signals:
    void NewCommand(QByteArray& command_name, QByteArray& data, int IDConnection, TMyLocalSocket* socket);
    // The next three are part of the given interface; in the daemon nothing is joined to them.
    void NewData(uchar version, QByteArray& data, TMyLocalSocket* socket);
    void NewAction(
        QByteArray& action_name, QByteArray& message, QByteArray& data, int IDConnection, TMyLocalSocket* socket);
    void NewBusMessage(QByteArray iface, QByteArray data, int idConnect);
    /// The other end of a connection has gone. What it sent last and nobody has read yet is dropped behind this signal:
    /// CommandWaits() still sees it.
    void ConnectionLost(TMyLocalSocket* socket);

public slots:
    // connectionInError() and DisconnectInConnection() are part of the given interface; the daemon does not call them.
    void connectionInError(QLocalSocket::LocalSocketError error);
    void connectionAdminError(QLocalSocket::LocalSocketError error);
    void DisconnectInConnection();
    void newInConnection(TMyLocalSocket* socket);
    void newOutConnection();
    void connectionOutError(QLocalSocket::LocalSocketError error);
    void DisconnectOutConnection();
    void DisconnectAdminConnection();
    void SlotNewData(TMyLocalSocket* socket);

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    // --- connections that it makes, and its own server: reconnecting.cpp
    void WaitForNobody(const QByteArray& identify);
    [[nodiscard]] bool OutConnectionsStood(const QByteArray& identify);
    [[nodiscard]] bool ReconnectAdmin(const QByteArray& identify);
    void Connect(TMyLocalSocket& socket, const QByteArray& identify);
    void TellObstacle(TMyLocalSocket& socket, const QString& reason);
    void TellWhoIsWaitedFor();
    void StartServer();
    void LookForLostAdmin();

    // --- connections that come in: incoming.cpp
    [[nodiscard]] bool Admits(qintptr descriptor);
    void FailIn(TMyLocalSocket* socket);
    void EndIn(TMyLocalSocket* socket);
    void Forget(TMyLocalSocket* socket);

    // --- frames that came in: connector.cpp
    [[nodiscard]] bool NextStep(TMyLocalSocket* socket);
    void CountHeld(TMyLocalSocket* socket);
    void CloseLargest();
    void LetGo(TMyLocalSocket* socket);
    void Receive(const BusFrame::Identify& frame, TMyLocalSocket* socket);
    void Receive(BusFrame::Action& frame, TMyLocalSocket* socket);
    void Receive(BusFrame::Command& frame, TMyLocalSocket* socket);
    void Receive(const BusFrame::BusMessage& frame, TMyLocalSocket* socket);
    void Receive(BusFrame::Data& frame, TMyLocalSocket* socket);

    [[nodiscard]] TMyLocalSocket* SenderSocket() const;

    bool ServerNotStarted = true;
    TMyLocalServer* const Server;
    QString ServerName;
    bool WatchArrow = false;
    QList<TMyLocalSocket*> InConnections;
    QList<TMyLocalSocket*> OutConnections;
    QBasicTimer reconnectTimer;
    Necessity administrator;
    QString obstacle; // why the last connection that failed did not come about
    PeerUsers users;
    FieldConduct field;
    LimitedLog incomingLog{100}; // a period is a tick
    LimitedLog refusalLog{10};
    qint64 heldBytes = 0; // by all connections together
};
