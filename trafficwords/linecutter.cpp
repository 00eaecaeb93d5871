#include "linecutter.h"

#include <algorithm>
#include <optional>

namespace {

constexpr QByteArrayView LineEnd("\r\n");
constexpr qsizetype HeaderSize = 6 + 16 + 4; // "UCAST:", the address, ",LL="

struct Cut {
    qsizetype size; ///< of the line
    qsizetype next; ///< where the next one begins
};

/// 80 and more stand for no bytes, like what is no number.
qsizetype AnnouncedLength(QByteArrayView digits)
{
    bool isNumber = false;
    const int length = digits.toByteArray().toInt(&isNumber, 16);
    return isNumber && length > 0 && length < 0x80 ? length : 0;
}

/// Where the payload ends if `bytes` begin with a message of announced length; else none.
std::optional<qsizetype> EndOfPayload(QByteArrayView bytes)
{
    const bool fromNode = bytes.startsWith("UCAST:") || bytes.startsWith("BCAST:");
    if (!fromNode || bytes.size() < HeaderSize || bytes[HeaderSize - 4] != ',')
        return std::nullopt;
    if (bytes.first(std::min(bytes.size(), HeaderSize + 1)).contains(LineEnd))
        return std::nullopt;
    return HeaderSize + AnnouncedLength(bytes.sliced(HeaderSize - 3, 2));
}

/// The first line of `bytes`; none while it is not complete.
std::optional<Cut> FirstLine(QByteArrayView bytes)
{
    if (const std::optional<qsizetype> end = EndOfPayload(bytes)) {
        if (bytes.size() < *end + LineEnd.size())
            return std::nullopt;
        if (bytes.sliced(*end).startsWith(LineEnd))
            return Cut{*end, *end + LineEnd.size()};
    }
    const QByteArrayView nearest = bytes.first(std::min(bytes.size(), LineCutter::MostHeld));
    if (const qsizetype end = nearest.indexOf(LineEnd); end >= 0)
        return Cut{end, end + LineEnd.size()};
    if (nearest.size() == LineCutter::MostHeld)
        return Cut{nearest.size(), nearest.size()};
    return std::nullopt;
}

QByteArrayView WithoutLineEnds(QByteArrayView bytes)
{
    const auto* const first = std::find_if(bytes.begin(), bytes.end(), [](char c) { return c != '\r' && c != '\n'; });
    return bytes.sliced(first - bytes.begin());
}

} // namespace

QByteArrayList LineCutter::Take(QByteArrayView chunk)
{
    held += chunk;
    QByteArrayList lines;
    QByteArrayView rest = WithoutLineEnds(held);
    while (const std::optional<Cut> cut = FirstLine(rest)) {
        lines.append(rest.first(cut->size).toByteArray());
        rest = WithoutLineEnds(rest.sliced(cut->next));
    }
    held = rest.toByteArray();
    return lines;
}
