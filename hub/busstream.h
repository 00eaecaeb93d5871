#pragma once

#include "frame.h"

#include <QObject>

class TMyLocalSocket;

/// One connected socket of the bus, as frames. What the other end may claim of the memory is bounded.
class BusStream final : public QObject {
    Q_OBJECT

public:
    /// Takes `socket`, which is connected. A frame of more than `longestFrame` bytes ends the connection.
    BusStream(TMyLocalSocket* socket, qint32 longestFrame, QObject* parent = nullptr);

    void SetLongestFrame(qint32 bytes);

    void Write(const QByteArray& frame);

    /// Ends the connection; nothing more comes from it, Ended() neither.
    void Close();

    /// Handles what has come in, also what the event loop has not yet seen.
    void ReadAll();

signals:
    void Received(const BusFrame::Frame& frame);
    /// The other end has gone, or was sent away: no more comes. Once.
    void Ended();

private:
    void Read();
    [[nodiscard]] bool NextStep();
    void End();

    TMyLocalSocket* const socket;
    qint32 longest;
    bool isOver = false;
};
