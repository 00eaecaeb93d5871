#pragma once

#include <QByteArray>

/// The frame that carries every payload between the collector and a ZigBee node: 0xC0, the payload, 0xC1. In the
/// payload 0xC0, 0xC1 and 0x7D each stand as 0x7D and the byte XOR 0x20. It has no checksum of its own.
namespace NodeFrame {

[[nodiscard]] QByteArray ToC0C1(QByteArray payload);

/// The payload of the first frame in `in`; `rest` gets what follows its 0xC1. Without a 0xC0 or a 0xC1 the result is
/// empty and `rest` is all of `in`, to be tried again with the next fragment. Bytes before the 0xC0 are skipped. A
/// first 0xC1 that stands before the first 0xC0 ends an empty frame, so the next call begins behind it.
[[nodiscard]] QByteArray FromC0C1(QByteArray in, QByteArray& rest);

} // namespace NodeFrame
