#pragma once

#include <QByteArray>
#include <QDateTime>

/// How the meters' clocks are set.
namespace ClockTexts {

/// The 16 characters that set all clocks at once, "ssmmhh0WddMMyyyy" with W the day of the week, 1 for Monday.
[[nodiscard]] QByteArray SetCharacters(const QDateTime& time, int dayOfWeek);

/// The message to a node that sets its CE301's time of day.
[[nodiscard]] QByteArray SetTimeCE301(QTime time);

} // namespace ClockTexts
