#pragma once

#include "substationprotocol.h"

#include <QByteArray>
#include <QSerialPort>
#include <QString>

/// The substation meter's own serial line. The constructor opens it and drops what had come before. No failure is
/// returned: when the port cannot be opened, writes are lost and the answer is empty.
class SubstationLine final {
public:
    SubstationLine(const QString& portName, const SubstationProtocol& protocol);

    /// Writes, then waits.
    void Write(QByteArrayView bytes, unsigned int pauseMs);

    /// What has come by now. Closes the line.
    [[nodiscard]] QByteArray TakeAnswer();

private:
    QSerialPort port;
};
