#include "connector.h"

#include "ending.h"
#include "localserver.h"
#include "shown.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

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
    Server->Admits = [this](qintptr descriptor) { return Admits(descriptor); };
    Ending::WatchWhileWaiting(this, [this] { LookForLostAdmin(); });
}

void TConnector::SetServerName(const QString& name)
{
    constexpr int ReconnectEveryMs = 5000;
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
    if (CommandWaits(name, AdminConnection))
        return true;
    for (const auto* const connections : {&OutConnections, &InConnections})
        for (TMyLocalSocket* const socket : *connections)
            if (CommandWaits(name, socket))
                return true;
    return false;
}

bool TConnector::CommandWaits(QByteArrayView name, TMyLocalSocket* socket) const
{
    return BusFrame::HoldsCommand(socket->PeekAll(), socket->BlockSize, name);
}

void TConnector::SlotNewData(TMyLocalSocket* socket)
{
    while (!Ending::ToldBySignal() && NextStep(socket)) { }
    CountHeld(socket);
}

/// False when nothing can be done before more comes in.
bool TConnector::NextStep(TMyLocalSocket* socket)
{
    switch (BusFrame::NextStep(socket->BlockSize, socket->bytesAvailable())) {
    case BusFrame::Step::Wait:
        return false;
    case BusFrame::Step::Refuse:
        socket->abort();
        return false;
    case BusFrame::Step::ReadLength:
        socket->BlockSize = BusFrame::Length(socket->read(BusFrame::LengthFieldSize));
        return true;
    case BusFrame::Step::ReadBody:
        BusFrame::Frame frame = BusFrame::Decode(socket->read(socket->BlockSize));
        socket->BlockSize = 0;
        std::visit([this, socket](auto& received) { Receive(received, socket); }, frame);
        return true;
    }
    Q_UNREACHABLE();
}

// One peer may send the largest frame at any time; all together may not make the process hold much more than that. A
// name counts too: it stays as long as the connection. The administrator is trusted: to close his connection would be
// to end the process.
void TConnector::CountHeld(TMyLocalSocket* socket)
{
    constexpr qint64 MostHeld = qint64{64} * 1024 * 1024 + BusFrame::LargestAwaitedLength;
    if (socket == AdminConnection)
        return;
    const qint64 holds = socket->isValid() ? socket->bytesAvailable() + socket->Name.size() : 0;
    heldBytes += holds - std::exchange(socket->Held, holds);
    if (heldBytes > MostHeld)
        CloseLargest(); // it holds at least what has just come in
}

void TConnector::CloseLargest()
{
    const QList<TMyLocalSocket*> all = OutConnections + InConnections;
    TMyLocalSocket* const largest =
        *std::ranges::max_element(all, {}, [](const TMyLocalSocket* socket) { return socket->Held; });
    refusalLog.Line(tr("Peer %1 is disconnected: all unfinished frames together have %2 bytes, its own %3")
                        .arg(Shown(largest->Name), QString::number(heldBytes), QString::number(largest->Held)));
    LetGo(largest);
    largest->abort();
}

void TConnector::LetGo(TMyLocalSocket* socket)
{
    heldBytes -= std::exchange(socket->Held, 0);
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
