#pragma once

#include <QByteArrayView>

#include <array>
#include <concepts>
#include <limits>

/// Cyclic redundancy checks of the plain kind: most significant bit first, start value 0, no final exclusive-or. The
/// width is that of `T`. With the start value 0 zero bytes added in front are not noticed.
template <std::unsigned_integral T>
using CrcTable = std::array<T, 256>;

template <std::unsigned_integral T>
[[nodiscard]] consteval CrcTable<T> MakeCrcTable(T polynomial)
{
    constexpr int Width = std::numeric_limits<T>::digits;
    CrcTable<T> table{};
    for (unsigned index = 0; index < table.size(); ++index) {
        unsigned remainder = index << (Width - 8);
        for (int bit = 0; bit < 8; ++bit)
            remainder = (remainder << 1) ^ ((remainder >> (Width - 1) & 1U) != 0 ? polynomial : 0U);
        table[index] = static_cast<T>(remainder);
    }
    return table;
}

template <std::unsigned_integral T>
[[nodiscard]] constexpr T Crc(const CrcTable<T>& table, QByteArrayView bytes)
{
    T crc = 0;
    for (const char byte : bytes) {
        const auto index = static_cast<quint8>((crc >> (std::numeric_limits<T>::digits - 8)) ^ byte);
        crc = static_cast<T>((crc << 8) ^ table[index]);
    }
    return crc;
}
