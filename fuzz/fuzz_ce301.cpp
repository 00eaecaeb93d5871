#include "ce301.h"
#include "fuzztarget.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <limits>

namespace {

struct Reading {
    explicit Reading(const QByteArray& pack)
        : ok(TCounter_CE301::ReceivePack(pack, values[0], values[1], values[2], values[3], values[4]))
    {
    }

    std::array<float, 5> values{-1, -1, -1, -1, -1};
    bool ok;
};

/// A plain decimal number is a tariff when a float holds it.
void RequireRead(const QByteArray& text)
{
    const QByteArray digits = QByteArray(text).replace('.', "");
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (text.size() > 40 || digits.size() + 1 < text.size() || !std::all_of(digits.begin(), digits.end(), isDigit)
        || digits.isEmpty())
        return;
    double value = 0;
    std::from_chars(text.begin(), text.end(), value);
    const bool fits = value <= std::numeric_limits<float>::max() && (value == 0 || static_cast<float>(value) != 0);
    const Reading reading("\2ET0PE(1)ET0PE(" + text + ")ET0PE(1)ET0PE(1)ET0PE(1)\3");
    Require(reading.ok == fits && reading.values[1] == (fits ? static_cast<float>(value) : 0));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const QByteArray input = InPlace(bytes, size);
    const Reading reading(input);
    if (!reading.ok && !input.contains("ET0PE("))
        Require(std::bit_cast<quint32>(reading.values[0]) == 0x40490FD0);
    if (reading.ok) {
        Require(input.count("ET0PE(") >= 5);
        const Reading longer(input + input);
        for (size_t i = 0; i < reading.values.size(); ++i)
            Require(std::bit_cast<quint32>(longer.values[i]) == std::bit_cast<quint32>(reading.values[i]));
    }

    RequireRead(input);

    QString time(QStringLiteral("old"));
    if (!TCounter_CE301::ReceiveTime(input, time))
        Require(time == QStringLiteral("old"));
    else
        Require(!time.contains(u')'));
    Require(TCounter_CE301::GetCRC(input) < 0x80);
    return 0;
}
