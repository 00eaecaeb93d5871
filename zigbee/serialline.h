#pragma once

#include <QByteArray>
#include <QObject>
#include <QSerialPort>
#include <QString>

/// The modem's wire: 19200 baud, 8N1, raw. Its callers check nothing, so every operation does what it can: a port that
/// cannot be opened or that breaks reads empty and swallows writes. It is opened again at the next read that finds it
/// closed; an operator finds the system's reason in the log, once until the port has worked again or the reason
/// changes.
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
    bool wasFull = false;
    QString reportedReason; // empty while the port works
};
