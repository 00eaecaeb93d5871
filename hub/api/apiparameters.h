#pragma once

#include "apisources.h"

#include <QDate>
#include <QDateTime>
#include <QList>
#include <QSet>
#include <QStringList>

#include <optional>
#include <span>
#include <utility>
#include <variant>

/// From one moment up to, and without, another; in local time.
struct TimeRange {
    QDateTime from;
    QDateTime to;
};

/// Whole days, the last one included.
struct AskedDays {
    QDate from;
    QDate to;
};

/// The parameters of one question. Each function has a value, or the error to answer with; what is wrong stands in its
/// text.
class ApiParameters final {
public:
    using Query = QList<std::pair<QString, QString>>;

    /// Refuses parameters that `known` does not name, and those that come twice.
    [[nodiscard]] static std::variant<ApiParameters, ApiError> Take(
        const Query& query, std::span<const QLatin1StringView> known);

    /// "controller": one of `names`, without it the first.
    [[nodiscard]] std::variant<QString, ApiError> Controller(const QStringList& names) const;

    /// "from" and "to", each a day, "2014-03-04", or a moment, "2014-03-04T08:30", with seconds, and with "Z" or
    /// "+04:00" if it is not this machine's time. A day as "to" is included. Without "to" up to `now`, without "from" a
    /// week.
    [[nodiscard]] std::variant<TimeRange, ApiError> Times(const QDateTime& now) const;

    /// "from" and "to" as days. Without "to" up to `today`, without "from" a week.
    [[nodiscard]] std::variant<AskedDays, ApiError> Days(QDate today) const;

    /// "meter", a meter's key in the register; none when it was not named.
    [[nodiscard]] std::variant<std::optional<qint64>, ApiError> Meter() const;

    /// "kinds" of events, separated by commas, out of `known`; empty when none were named.
    [[nodiscard]] std::variant<QSet<QByteArray>, ApiError> Kinds(std::span<const QLatin1StringView> known) const;

    [[nodiscard]] std::optional<QString> Text(QAnyStringView name) const;

private:
    Query query;
};
