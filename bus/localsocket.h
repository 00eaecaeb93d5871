#pragma once

#include <QLocalSocket>

/// One connection of the bus, with the peer's name and how far its next frame has come in.
class TMyLocalSocket final : public QLocalSocket {
    Q_OBJECT

public:
    explicit TMyLocalSocket(QObject* parent = nullptr);

    /// Writes a whole frame and flushes. A socket that is not open takes nothing. When the peer does not read, and with
    /// this frame more than LargestBacklog bytes would wait for it, the frame is dropped whole, so the stream stays
    /// well-formed; the log tells once when that begins and once when frames go through again. A peer for whom nothing
    /// waits is sent a frame of any size.
    void WriteFrame(const QByteArray& frame);

    /// What has come in and was not read, up to 1 MiB, also what the event loop has not yet seen. Takes nothing away.
    [[nodiscard]] QByteArray PeekAll();

    static constexpr qint64 LargestBacklog = 8 * 1024 * 1024;

    /// The peer's bus name, UTF-8. Empty for an accepted connection until the peer identifies itself.
    QByteArray Name;

    /// Length of the frame that is being received; 0 while its length has not been read.
    qint32 BlockSize = 0;

    /// The connector's account of the memory that the peer claims: an unfinished frame, a name.
    qint64 Held = 0;

    /// Why the last try to connect failed, as the log has told; empty when it did not.
    QString ToldObstacle;

signals:
    void NewData(TMyLocalSocket* socket);

public slots:
    void processReadyRead();

private:
    quint64 droppedFrames = 0;
};
