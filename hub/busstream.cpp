#include "busstream.h"

#include "localsocket.h"

#include <utility>

BusStream::BusStream(TMyLocalSocket* newSocket, qint32 longestFrame, QObject* parent)
    : QObject(parent),
      socket(newSocket),
      longest(longestFrame)
{
    socket->setParent(this); // a listener's child until now
    SetLongestFrame(longestFrame);
    connect(socket, &TMyLocalSocket::NewData, this, &BusStream::Read);
    connect(socket, &QLocalSocket::disconnected, this, [this] {
        Read();
        End();
    });
}

void BusStream::SetLongestFrame(qint32 bytes)
{
    longest = bytes;
    socket->setReadBufferSize(qint64{longest} + BusFrame::LengthFieldSize);
}

void BusStream::Write(const QByteArray& frame)
{
    socket->WriteFrame(frame);
}

void BusStream::Close()
{
    isOver = true;
    socket->abort();
}

void BusStream::ReadAll()
{
    while (!isOver && socket->state() == QLocalSocket::ConnectedState && socket->waitForReadyRead(0))
        Read();
    Read();
}

void BusStream::Read()
{
    while (NextStep()) { }
}

/// False when nothing can be done before more comes in.
bool BusStream::NextStep()
{
    if (isOver)
        return false;
    switch (BusFrame::NextStep(socket->BlockSize, socket->bytesAvailable())) {
    case BusFrame::Step::Wait:
        return false;
    case BusFrame::Step::Refuse:
        socket->abort();
        End();
        return false;
    case BusFrame::Step::ReadLength:
        socket->BlockSize = BusFrame::Length(socket->read(BusFrame::LengthFieldSize));
        if (socket->BlockSize <= longest)
            return true;
        socket->abort();
        End();
        return false;
    case BusFrame::Step::ReadBody:
        const BusFrame::Frame frame = BusFrame::Decode(socket->read(std::exchange(socket->BlockSize, 0)));
        emit Received(frame);
        return true;
    }
    Q_UNREACHABLE();
}

void BusStream::End()
{
    if (!std::exchange(isOver, true))
        emit Ended();
}
