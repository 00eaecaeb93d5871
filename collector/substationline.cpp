#include "substationline.h"

#include "closesent.h"
#include "delay.h"
#include "ending.h"

SubstationLine::SubstationLine(const QString& portName, const SubstationProtocol& protocol) : port(portName)
{
    const bool even = protocol.parity == SubstationProtocol::Parity::Even;
    port.setBaudRate(protocol.baud);
    port.setDataBits(static_cast<QSerialPort::DataBits>(protocol.dataBits));
    port.setParity(even ? QSerialPort::EvenParity : QSerialPort::NoParity);
    port.setStopBits(QSerialPort::OneStop);
    port.setFlowControl(QSerialPort::NoFlowControl);
    // The process can end in one of the waits. A port that is not closed leaves its lock file behind.
    Ending::BeforeLeaving(&port, [this] { CloseSent(port); });
    // An answer that came after the line had been closed must not be read as that to the next request.
    if (port.open(QIODevice::ReadWrite))
        port.clear(QSerialPort::Input);
}

void SubstationLine::Write(QByteArrayView bytes, unsigned int pauseMs)
{
    if (port.isOpen()) {
        port.write(bytes.data(), bytes.size());
        port.flush();
    }
    Delay(pauseMs);
}

QByteArray SubstationLine::TakeAnswer()
{
    if (!port.isOpen())
        return {};
    // Only the event loop fills the port's buffer. After a blocking wait the bytes are still in the system.
    while (port.waitForReadyRead(0)) { }
    QByteArray answer = port.readAll();
    port.close();
    return answer;
}
