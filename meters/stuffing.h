#pragma once

#include <QByteArray>

#include <optional>

/// Byte stuffing between two delimiters. A framing's `Rule` holds
///   Begin, End, Escape  the delimiters, and the byte that opens a pair;
///   Second(byte)        the second byte of the pair that stands for `byte`; none for a byte that is sent as it is;
///   Original(second)    the byte that a pair stands for; none for a pair that is dropped.
namespace Stuffing {

template <class Rule>
[[nodiscard]] QByteArray Frame(QByteArrayView payload)
{
    QByteArray frame;
    frame.reserve(2 * payload.size() + 2);
    frame += Rule::Begin;
    for (const char byte : payload) {
        if (const std::optional<char> second = Rule::Second(byte))
            (frame += Rule::Escape) += *second;
        else
            frame += byte;
    }
    return frame += Rule::End;
}

/// The payload of the bytes between the delimiters. A last Escape without its second byte is dropped.
template <class Rule>
[[nodiscard]] QByteArray Unstuff(QByteArrayView stuffed)
{
    QByteArray payload(stuffed.size(), Qt::Uninitialized);
    char* out = payload.data();
    for (auto in = stuffed.begin(); in != stuffed.end(); ++in) {
        if (*in != Rule::Escape)
            *out++ = *in;
        else if (++in == stuffed.end())
            break;
        else if (const std::optional<char> original = Rule::Original(*in))
            *out++ = *original;
    }
    payload.truncate(out - payload.constData());
    return payload;
}

} // namespace Stuffing
