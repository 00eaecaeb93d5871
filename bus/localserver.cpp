#include "localserver.h"

#include "localsocket.h"

void TMyLocalServer::incomingConnection(quintptr socketDescriptor)
{
    constexpr qint64 ReadBufferSize = 0x20000000;

    auto* const socket = new TMyLocalSocket(this);
    socket->setSocketDescriptor(
        static_cast<qintptr>(socketDescriptor), QLocalSocket::ConnectedState, QIODevice::ReadWrite);
    socket->setReadBufferSize(ReadBufferSize);
    emit newConnection(socket);
}
