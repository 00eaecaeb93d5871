#include "localserver.h"

#include "localsocket.h"

#include <unistd.h>

void TMyLocalServer::incomingConnection(quintptr socketDescriptor)
{
    constexpr qint64 ReadBufferSize = 0x20000000;

    const auto descriptor = static_cast<qintptr>(socketDescriptor);
    if (Admits && !Admits(descriptor)) {
        ::close(static_cast<int>(descriptor));
        return;
    }
    auto* const socket = new TMyLocalSocket(this);
    socket->setSocketDescriptor(descriptor, QLocalSocket::ConnectedState, QIODevice::ReadWrite);
    socket->setReadBufferSize(ReadBufferSize);
    emit newConnection(socket);
}
