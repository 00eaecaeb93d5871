#pragma once

#include "energy.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

/// How a meter of one model is read on a serial line of its own: one stop bit, no flow control.
struct SubstationProtocol {
    enum class Parity { None, Even };

    /// One write on the line, and the pause behind it.
    struct Write {
        QByteArray bytes;
        unsigned int pauseMs;
    };
    /// All writes of one request; the last pause is the time that the answer gets. Empty when `number`, the register's
    /// "Number", cannot be that of a meter of this model.
    using Request = QList<Write> (*)(const QString& number);

    qint32 baud;
    int dataBits;
    Parity parity;

    Request energyRequest;
    /// None when `answer` is not a whole answer to the energy request with that `number`.
    std::optional<Energy> (*energyIn)(const QString& number, const QByteArray& answer);

    // For TCollector::GetTimeFromCouner(), which the daemon does not call.
    Request clockRequest;
    /// As energyIn(). Null: the answer is not read.
    std::optional<QDateTime> (*clockIn)(const QString& number, const QByteArray& answer);

    /// Whether the checksum of an energy answer is right: nothing else looks at it.
    bool (*checksumIsRight)(const QByteArray& answer);

    bool answerToDebugOutput = false; ///< the answer goes there a second time, besides the traffic display
};
