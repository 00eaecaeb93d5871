#pragma once

#include "substationprotocol.h"

#include <QByteArray>
#include <QSerialPort>
#include <QString>

/// The substation meter's own serial line, open and empty from the start. Nothing is checked: a port that cannot be
/// opened swallows what is written and reads empty.
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
