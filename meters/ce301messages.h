#pragma once

#include <QByteArrayView>

/// The fixed requests to a CE301 meter, in the order of an exchange on its own serial line. A message is SOH, a
/// command, STX, a parameter, ETX and the block check (TCounter_CE301::GetCRC). Behind a node a message is preceded by
/// 0x04.
namespace CE301Messages {

inline constexpr QByteArrayView SignOn = "\x05/?!\r\n";
inline constexpr QByteArrayView OptionSelect = "\x06"
                                               "061\r\n";

/// The six digits are the meters' access password; with other digits the last byte, the block check, changes too.
inline constexpr QByteArrayView Password = "\x01P1\x02(246810)\x03\x0C";

inline constexpr QByteArrayView ReadEnergy = "\x01R1\x02"
                                             "ET0PE()\x03"
                                             "7";
inline constexpr QByteArrayView ReadTime = "\x01R1\x02TIME_()\x03g";

} // namespace CE301Messages
