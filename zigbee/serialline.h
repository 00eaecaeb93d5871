#pragma once

#include "necessity.h"

#include <QByteArray>
#include <QObject>
#include <QSerialPort>
#include <QString>

#include <utility>

/// The modem's serial line: 19200 baud, 8N1, raw. No operation returns a failure: while the port cannot be opened, or
/// after it broke, reads are empty and writes are lost. The next read opens it again. The log tells the system's reason
/// once, and again when the port has worked in between or the reason has changed.
class SerialLine final : public QObject {
    Q_OBJECT

public:
    explicit SerialLine(const QString& portName, QObject* parent = nullptr);

    /// What has come since the last read, also while the thread was blocked; at most `maxSize` bytes, the rest stays
    /// for the next read. While the thread is blocked the system keeps what comes, as much as its buffer holds (20 KiB
    /// on a pseudo-terminal, ten seconds of a busy line); the event loop takes it over, up to 1 MiB.
    [[nodiscard]] QByteArray Read(qint64 maxSize = ReadBufferSize);

    /// Hands `bytes` to the system, which takes them at once or as the line drains. While 64 KiB or more wait for that
    /// (34 seconds of this line) a write is dropped whole, and the log says so once; otherwise it is kept whole,
    /// however long it is.
    void Write(const QByteArray& bytes);

    [[nodiscard]] bool IsOpen() const { return port.isOpen(); }

    /// Whether a read has opened the port since this was asked last.
    [[nodiscard]] bool TakeReopened() { return std::exchange(reopened, false); }

    /// The modem gave no answer where it must: told on stderr, if not the port is to blame.
    void TellNoAnswer();

    static constexpr qint64 ReadBufferSize = 1048576;
    static constexpr qint64 MostWaiting = 65536;

private:
    void Open();
    [[nodiscard]] QString WhyNotOpen() const;
    void OnError(QSerialPort::SerialPortError error);
    void CloseBroken();
    void Report(const QString& text, const QString& reason);

    const QString name; // as configured: the port shortens its own
    QSerialPort port;
    bool broken = false;
    bool reopened = false;
    bool wasFull = false;
    QString reportedReason; // empty while the port works
    Necessity modem;
};
