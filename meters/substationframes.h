#pragma once

#include <QByteArray>

/// The frames of a SET3 meter on its own line. Those behind a node have one byte more in front.
namespace SubstationFrames {

/// The low three bytes of the meter's `number`, least significant first, the request code and what belongs to it, and
/// the CRC-16 of all that, high byte first.
[[nodiscard]] QByteArray Request(int number, QByteArrayView code);

/// Whether `answer` begins with the meter's number and the request code of `request`. Its CRC is not checked.
[[nodiscard]] bool IsAnswerTo(const QByteArray& request, const QByteArray& answer);

} // namespace SubstationFrames
