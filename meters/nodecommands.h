#pragma once

#include <QByteArray>

/// The commands to a node, and the one message that a node sends without being asked. A command is a node frame
/// (nodeframe.h) whose first payload byte is the command's number.
namespace NodeCommands {

/// Read your meter now.
inline constexpr QByteArrayView Measure = "\xC0\x01\xC1";
/// Send what you hold of your meter.
inline constexpr QByteArrayView ReadOut = "\xC0\x02\xC1";
/// Ends each tick of the collector.
inline constexpr QByteArrayView Empty = "\xC0\xC1";

/// From a node: its meter's case was opened.
inline constexpr QByteArrayView CaseOpened = "\xC0\x82"
                                             "55\xC1";

/// The command to pass `message` on to the meter: 0x04 in front, and no node frame around it.
[[nodiscard]] QByteArray ToMeter(const QByteArray& message);

/// The address of the collector, 16 characters, is `uin`.
[[nodiscard]] QByteArray CollectorAddress(const QByteArray& uin);

/// `text` goes out as it is, also where it holds bytes of the frame: nodes do not undo any escaping here.
[[nodiscard]] QByteArray KiNumber(const QByteArray& text);

/// The meter's number, least significant byte first.
[[nodiscard]] QByteArray MeterNumber(qint32 number);

/// `characters` as ClockTexts::SetCharacters() makes them.
[[nodiscard]] QByteArray SetClock(const QByteArray& characters);

} // namespace NodeCommands
