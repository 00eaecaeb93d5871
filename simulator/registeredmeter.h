#pragma once

#include "meterdialect.h"

#include <QByteArrayList>
#include <QList>
#include <QString>

/// A meter as the register knows it.
struct RegisteredMeter {
    QByteArray uin; ///< a node's: 16 characters; the substation meter's: any text
    QByteArray number; ///< the SET models' is a decimal number
    const MeterDialect* dialect = nullptr;
    bool onLocalLine = false; ///< the substation's own meter: Type 1

    [[nodiscard]] quint32 NumberOnTheWire() const { return static_cast<quint32>(number.toInt()); }
};

/// Reads a register: an SQLite database with the table "Counters", or a CSV file. On failure `error` says everything
/// that is wrong with it, and where.
[[nodiscard]] std::optional<QList<RegisteredMeter>> ReadRegister(const QString& path, QString& error);
