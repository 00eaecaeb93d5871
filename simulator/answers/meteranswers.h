#pragma once

#include <QByteArray>
#include <QDateTime>

#include <array>

/// What the meters answer, ready to be put into a node frame. Only the alarm already is a whole node frame.
namespace MeterAnswers {

/// A wrong checksum stands in an answer that is right otherwise.
enum class Checksum { Right, Wrong };

/// The checks of requests and answers alike: SET3's CRC of `covered`, high byte first, and CE301's sum.
[[nodiscard]] QByteArray CrcSET3(const QByteArray& covered);
[[nodiscard]] char SumCE301(const QByteArray& covered);

/// Four tariff registers, hundredths of a kWh.
using Tariffs = std::array<quint32, 4>;

/// Sends one register only, `total` in hundredths of a kWh, with its own 0xC0 delimiters and stuffing.
[[nodiscard]] QByteArray EnergyCE102(quint16 address, quint32 total, Checksum checksum = Checksum::Right);

/// The total and the tariffs as text; the total is the sum of the tariffs.
[[nodiscard]] QByteArray EnergyCE301(const Tariffs& tariffs, Checksum checksum = Checksum::Right);

/// Sends the low 24 bits of each register.
[[nodiscard]] QByteArray EnergySET1(const Tariffs& tariffs, Checksum checksum = Checksum::Right);

/// `meter` is a 24-bit number.
[[nodiscard]] QByteArray EnergySET3(quint32 meter, const Tariffs& tariffs, Checksum checksum = Checksum::Right);

/// The clocks of the SET meters know only the years 2000 to 2099. SET1's is a short answer, without a checksum.
[[nodiscard]] QByteArray ClockCE301(QTime time, Checksum checksum = Checksum::Right);
[[nodiscard]] QByteArray ClockSET1(const QDateTime& time);
[[nodiscard]] QByteArray ClockSET3(quint32 meter, const QDateTime& time, Checksum checksum = Checksum::Right);

/// The node frame that says that the meter's case was opened.
[[nodiscard]] QByteArray Alarm();

/// What is left of an answer whose second half was lost.
[[nodiscard]] QByteArray CutShort(const QByteArray& answer);

} // namespace MeterAnswers
