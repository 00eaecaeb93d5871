#include "modemstream.h"

#include <QByteArrayView>

#include <algorithm>
#include <utility>

namespace {

constexpr QByteArrayView LineEnd("\r\n");

/// A length of 80 and more stands for no bytes, like one that is no number: see modemparser.cpp.
qsizetype AnnouncedLength(QByteArrayView digits)
{
    bool isNumber = false;
    const int length = digits.toByteArray().toInt(&isNumber, 16);
    return isNumber && length < 0x80 ? length : 0;
}

constexpr qsizetype HeaderSize = 6 + 16 + 4; // "UCAST:", the address, ",LL="

/// Where the payload of a message from a node ends, if the line at `start` is one with an announced length; else 0.
qsizetype EndOfPayload(QByteArrayView bytes, qsizetype start)
{
    const QByteArrayView line = bytes.sliced(start);
    const bool fromNode = line.startsWith("UCAST:") || line.startsWith("BCAST:");
    if (!fromNode || line.size() < HeaderSize || line[HeaderSize - 4] != ',')
        return 0;
    if (line.first(std::min(line.size(), HeaderSize + 1)).contains(LineEnd))
        return 0;
    return start + HeaderSize + AnnouncedLength(line.sliced(HeaderSize - 3, 2));
}

/// Behind the line end of the first message; 0 while that is not complete.
qsizetype EndOfMessage(QByteArrayView bytes)
{
    const auto* const first = std::find_if(bytes.begin(), bytes.end(), [](char c) { return c != '\r' && c != '\n'; });
    const qsizetype start = first - bytes.begin();
    if (const qsizetype end = EndOfPayload(bytes, start)) {
        if (bytes.size() < end + LineEnd.size())
            return 0;
        if (bytes.sliced(end).startsWith(LineEnd))
            return end + LineEnd.size();
        // Bytes were lost: the line ends before its payload should.
    }
    const qsizetype lineEnd = bytes.indexOf(LineEnd, start);
    return lineEnd < 0 ? 0 : lineEnd + LineEnd.size();
}

} // namespace

QList<QByteArray> ModemStream::Take(const QByteArray& bytes, qint64 nowMs)
{
    held += bytes;
    QList<QByteArray> messages;
    while (const qsizetype end = EndOfMessage(held)) {
        messages.append(held.left(end));
        held.remove(0, end);
    }
    if (!bytes.isEmpty())
        lastByteMs = nowMs;
    const bool abandoned = !held.isEmpty() && nowMs - lastByteMs >= MostHeldMs;
    if (abandoned || held.size() > MostHeld)
        messages.append(std::exchange(held, {}));
    return messages;
}
