#pragma once

#include <QDateTime>
#include <QJsonValue>

/// A wall time as rows have them, as the moment in this computer's zone; in the hour that comes twice the first.
[[nodiscard]] QDateTime LocalTime(const QDateTime& wall);

/// What the clock of this computer's zone shows at `moment`, as rows have it.
[[nodiscard]] QDateTime WallTimeAt(const QDateTime& moment);

/// "2024-03-04T05:06:07+03:00", of a valid wall time.
[[nodiscard]] QByteArray IsoBytes(const QDateTime& wall);
/// Of an invalid one null.
[[nodiscard]] QJsonValue IsoText(const QDateTime& wall);
