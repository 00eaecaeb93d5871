#pragma once

#include "energy.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

/// The collector's messages to its peers on the bus, as bytes.
namespace BusMessages {

/// Asks the receiver to make the database file `fileName`: `word` ("tempdb" or "tempdb_t"), the name, the records.
[[nodiscard]] QByteArray TemporaryDatabase(const QByteArray& word, const QString& fileName, const QByteArray& records);

/// The file of a sweep, "date-time.db" without colons.
[[nodiscard]] QString FileName(const QString& date, const QString& time);

/// A record is 44 bytes, its numbers little-endian. Text that is too long for its field is cut; shorter text is filled
/// up with zero bytes.
///
/// Meter, five energies, date (10) and time (8) of the sweep, status.
[[nodiscard]] QByteArray ReadingRecord(
    qint32 globalId, const Energy& energy, const QString& date, const QString& time, qint16 status);

/// Meter, its clock (19), the collector's clock (19), both "yyyy-MM-dd hh:mm:ss", two zero bytes.
[[nodiscard]] QByteArray ClockRecord(qint32 globalId, const QString& meterClock, const QString& collectorClock);

/// Tells that `code` happened at meter `globalId`.
[[nodiscard]] QByteArray Error(qint32 globalId, const QDateTime& time, int code);

} // namespace BusMessages
