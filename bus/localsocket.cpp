#include "localsocket.h"

#include "log.h"
#include "shown.h"

#include <algorithm>

#include <sys/ioctl.h>
#include <sys/socket.h>

TMyLocalSocket::TMyLocalSocket(QObject* parent) : QLocalSocket(parent)
{
    connect(this, &QLocalSocket::readyRead, this, &TMyLocalSocket::processReadyRead);
    connect(this, &QLocalSocket::connected, this, [this] { BlockSize = 0; });
}

void TMyLocalSocket::WriteFrame(const QByteArray& frame)
{
    if (!isOpen())
        return;
    if (bytesToWrite() > 0 && bytesToWrite() + frame.size() > LargestBacklog) {
        if (droppedFrames++ == 0)
            Log(tr("Peer %1 does not read, %2 bytes are waiting: frames to it are dropped")
                    .arg(Shown(Name), QString::number(bytesToWrite())),
                Severity::Warning);
        return;
    }
    if (droppedFrames > 0)
        Log(tr("Peer %1 reads again, %2 frames were dropped").arg(Shown(Name), QString::number(droppedFrames)));
    droppedFrames = 0;

    write(frame);
    flush();
}

QByteArray TMyLocalSocket::PeekAll()
{
    if (state() != ConnectedState)
        return {};
    constexpr qsizetype Most = 1024 * 1024;
    const int descriptor = static_cast<int>(socketDescriptor());
    int waiting = 0;
    const bool more = ::ioctl(descriptor, FIONREAD, &waiting) == 0 && waiting > 0;
    const qsizetype seen = std::min<qsizetype>(bytesAvailable(), Most);
    if (!more && seen == 0)
        return {};

    QByteArray bytes = peek(seen);
    const auto room = static_cast<size_t>(std::min<qsizetype>(waiting, Most - seen));
    if (!more || room == 0)
        return bytes;
    bytes.resize(seen + static_cast<qsizetype>(room));
    const ssize_t peeked = ::recv(descriptor, bytes.data() + seen, room, MSG_PEEK | MSG_DONTWAIT);
    bytes.truncate(seen + std::max<ssize_t>(peeked, 0));
    return bytes;
}

void TMyLocalSocket::processReadyRead()
{
    emit NewData(this);
}
