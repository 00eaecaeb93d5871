#include "serialline.h"

#include "closesent.h"
#include "ending.h"
#include "log.h"
#include "portlock.h"

#include <cerrno>

#include <poll.h>

SerialLine::SerialLine(const QString& portName, QObject* parent) : QObject(parent), name(portName)
{
    port.setPortName(name);
    port.setBaudRate(QSerialPort::Baud19200);
    port.setDataBits(QSerialPort::Data8);
    port.setParity(QSerialPort::NoParity);
    port.setStopBits(QSerialPort::OneStop);
    port.setFlowControl(QSerialPort::NoFlowControl);
    port.setReadBufferSize(ReadBufferSize);
    connect(&port, &QSerialPort::errorOccurred, this, &SerialLine::OnError);
    connect(&port, &QSerialPort::errorOccurred, this, &SerialLine::CloseBroken, Qt::QueuedConnection);
    // A port that is not closed leaves its lock file behind.
    Ending::BeforeLeaving(this, [this] { CloseSent(port); });
    Open();
}

void SerialLine::Open()
{
    if (!port.open(QIODevice::ReadWrite))
        Report(tr("Cannot open the modem port %1: %2"), WhyNotOpen());
}

// The library says no more than that there is a lock. A lock file that is there now is another's: an attempt that fails
// for another reason has removed its own.
QString SerialLine::WhyNotOpen() const
{
    const std::optional<PortLock> lock = PortLock::Find(name);
    return lock ? lock->Text() : port.errorString();
}

QByteArray SerialLine::Read(qint64 maxSize)
{
    CloseBroken();
    if (!port.isOpen()) {
        Open();
        reopened = port.isOpen();
    }
    if (!port.isOpen())
        return {};
    port.flush();
    // Only the event loop fills the port's buffer. After a blocking wait the bytes are still in the system.
    while (port.waitForReadyRead(0)) { }
    QByteArray bytes = port.read(maxSize);
    if (!bytes.isEmpty()) {
        const QString works = tr("The modem port %1 works again").arg(name);
        if (!reportedReason.isEmpty())
            Log(works);
        reportedReason.clear();
        modem.Works(works);
    }
    return bytes;
}

void SerialLine::TellNoAnswer()
{
    if (port.isOpen())
        modem.Fails(tr("The modem at port %1 does not answer").arg(name));
}

void SerialLine::Write(const QByteArray& bytes)
{
    CloseBroken();
    if (!port.isOpen())
        return;
    const bool full = port.bytesToWrite() >= MostWaiting;
    if (full && !wasFull)
        Log(tr("The modem port %1 takes no more data, %2 bytes dropped").arg(name).arg(bytes.size()),
            Severity::Warning);
    wasFull = full;
    if (full)
        return;
    port.write(bytes);
    port.flush();
}

// Comes from inside the port's own calls, so the port is closed later: by the event loop or by the next call.
void SerialLine::OnError(QSerialPort::SerialPortError error)
{
    const bool harmless = error == QSerialPort::NoError || error == QSerialPort::TimeoutError;
    if (harmless || !port.isOpen() || broken)
        return;
    pollfd line{static_cast<int>(port.handle()), 0, 0};
    const bool hungUp = ::poll(&line, 1, 0) == 1;
    // The port calls a full line an error too. It keeps the bytes and goes on when there is room.
    if (!hungUp && port.errorString() == qt_error_string(EAGAIN))
        return;
    broken = true;
    Report(tr("The modem port %1 broke: %2"), hungUp ? tr("the line was hung up") : port.errorString());
}

void SerialLine::CloseBroken()
{
    if (broken)
        port.close();
    broken = false;
}

void SerialLine::Report(const QString& text, const QString& reason)
{
    const QString sentence = text.arg(name, reason);
    if (reason != reportedReason)
        Log(sentence, Severity::Error);
    reportedReason = reason;
    modem.Fails(sentence);
}
