#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

/// How the meters' clocks are asked, told and read.
namespace ClockTexts {

/// The 16 characters that set all clocks at once, "ssmmhh0WddMMyyyy" with W the day of the week, 1 for Monday.
[[nodiscard]] QByteArray SetCharacters(const QDateTime& time, int dayOfWeek);

/// The message to a node that sets its CE301's time of day.
[[nodiscard]] QByteArray SetTimeCE301(QTime time);

/// The message to a node that asks for its meter's clock; empty for a model that has no such message.
[[nodiscard]] QByteArray TimeQuery(const QString& model, quint32 number);

/// A SET meter's clock: seven BCD bytes, seconds, minutes, hours, day of the week (ignored), day, month, year of this
/// century. Invalid when they are no date and time. As UTC, for a meter shows also the hour that local time skips.
[[nodiscard]] QDateTime FromBcd(QByteArrayView bytes);

} // namespace ClockTexts
