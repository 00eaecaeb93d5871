#pragma once

#include <QDateTime>
#include <QTimeZone>

#include <optional>

/// A date and a time as rows have them: what the controller's clock showed, without a zone. Held as a time of UTC, so
/// that no zone of this computer changes it.
[[nodiscard]] QDateTime WallTime(QDate date, QTime time);

/// The zone by which the controller's clock went.
class WallZone final {
public:
    explicit WallZone(const QTimeZone& zone_) : zone(zone_) { }

    /// How often the clock shows `wall`: 0 in the hour that summer time leaves out, 2 in the one that comes twice.
    [[nodiscard]] int TimesOf(const QDateTime& wall) const;

    /// The moment, in seconds since 1970 UTC. None when the clock shows `wall` not once.
    [[nodiscard]] std::optional<qint64> MomentOf(const QDateTime& wall) const;

private:
    [[nodiscard]] qint64 OffsetAt(qint64 moment) const;

    QTimeZone zone;
};
