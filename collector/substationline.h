#pragma once

#include <QByteArray>
#include <QSerialPort>
#include <QString>

/// The substation meter's own serial line, open and empty from the start. Nothing is checked: a port that cannot be
/// opened swallows what is written and reads empty.
class SubstationLine final {
public:
    struct Parameters {
        qint32 baud;
        QSerialPort::DataBits dataBits;
        QSerialPort::Parity parity;
    };
    static constexpr Parameters CE301{19200, QSerialPort::Data7, QSerialPort::EvenParity};
    static constexpr Parameters SET3{2400, QSerialPort::Data8, QSerialPort::NoParity};

    SubstationLine(const QString& portName, const Parameters& parameters);

    /// Writes, then waits.
    void Write(QByteArrayView bytes, unsigned int pauseMs);

    /// What has come by now. Closes the line.
    [[nodiscard]] QByteArray TakeAnswer();

private:
    QSerialPort port;
};
