#include "localsocket.h"

#include "log.h"

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
    if (bytesToWrite() > LargestBacklog) {
        if (droppedFrames++ == 0)
            Log(tr("Peer %1 does not read, %2 bytes are waiting: frames to it are dropped")
                    .arg(QString::fromUtf8(Name))
                    .arg(bytesToWrite()));
        return;
    }
    if (droppedFrames > 0)
        Log(tr("Peer %1 reads again, %2 frames were dropped").arg(QString::fromUtf8(Name)).arg(droppedFrames));
    droppedFrames = 0;

    write(frame);
    flush();
}

QByteArray TMyLocalSocket::PeekAll()
{
    if (state() != ConnectedState)
        return {};
    constexpr qsizetype Most = 1024 * 1024;
    QByteArray bytes = peek(Most);
    const qsizetype seen = bytes.size();
    const int descriptor = static_cast<int>(socketDescriptor());
    int waiting = 0;
    if (::ioctl(descriptor, FIONREAD, &waiting) != 0 || waiting <= 0)
        return bytes;
    const auto room = static_cast<size_t>(std::min<qsizetype>(waiting, Most - seen));
    bytes.resize(seen + static_cast<qsizetype>(room));
    const ssize_t more = ::recv(descriptor, bytes.data() + seen, room, MSG_PEEK | MSG_DONTWAIT);
    bytes.truncate(seen + std::max<ssize_t>(more, 0));
    return bytes;
}

void TMyLocalSocket::processReadyRead()
{
    emit NewData(this);
}
