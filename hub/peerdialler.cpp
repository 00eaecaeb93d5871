#include "peerdialler.h"

#include "busstream.h"
#include "daemonlink.h"
#include "localsocket.h"
#include "log.h"

#include <QTimer>

#include <utility>

PeerDialler::PeerDialler(DaemonLink& link_, QString ownName_, PeerUsers users_, QObject* parent)
    : QObject(parent),
      link(link_),
      ownName(std::move(ownName_)),
      users(std::move(users_))
{
}

void PeerDialler::Start()
{
    constexpr int DialAgainMs = 5000;
    auto* const timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &PeerDialler::Dial);
    timer->start(DialAgainMs);
    Dial();
}

void PeerDialler::Dial()
{
    if (link.HasPeer() || dialled)
        return;
    dialled = new TMyLocalSocket(this);
    TMyLocalSocket* const socket = dialled;
    connect(socket, &QLocalSocket::connected, this, [this, socket] { Join(socket); });
    connect(socket, &QLocalSocket::errorOccurred, this, [this, socket] { GiveUp(socket); });
    socket->connectToServer(link.Controller());
}

void PeerDialler::Join(TMyLocalSocket* socket)
{
    if (const auto user = users.Refused(socket->socketDescriptor())) {
        if (!std::exchange(refusalTold, true))
            Log(tr("Cannot connect to %1: it belongs to the user with number %2, who is not among BusUsers")
                    .arg(link.Controller(), QString::number(*user)),
                Severity::Warning);
        GiveUp(socket);
        return;
    }
    refusalTold = false;
    dialled = nullptr;
    socket->disconnect(this);
    auto* const stream = new BusStream(socket, 0, nullptr);
    stream->Write(BusFrame::Encode(BusFrame::Identify{ownName.toUtf8()}));
    link.TakePeer(stream);
}

/// A daemon that is away is told of by its admin link.
void PeerDialler::GiveUp(TMyLocalSocket* socket)
{
    dialled = nullptr;
    socket->disconnect(this);
    socket->abort();
    socket->deleteLater();
}
