#include "localsocket.h"

#include "log.h"

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

void TMyLocalSocket::processReadyRead()
{
    emit NewData(this);
}
