#pragma once

#include <QDateTime>
#include <QJsonValue>

/// ISO 8601 with the offset of its zone; null when it is invalid.
[[nodiscard]] inline QJsonValue MomentText(const QDateTime& time, Qt::DateFormat format = Qt::ISODate)
{
    if (!time.isValid())
        return QJsonValue::Null;
    const QDateTime local = time.toLocalTime();
    return local.toOffsetFromUtc(local.offsetFromUtc()).toString(format);
}
