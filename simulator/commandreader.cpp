#include "commandreader.h"

#include <utility>

namespace {

constexpr qsizetype LongestLine = 256;

std::optional<qsizetype> MessageLength(const QByteArray& argument)
{
    bool isNumber = false;
    const qsizetype length = argument.left(2).toUShort(&isNumber, 16);
    return isNumber ? std::optional(length) : std::nullopt;
}

qsizetype PayloadLength(const QByteArray& line)
{
    const QByteArray lower = line.toLower();
    for (const QByteArrayView name : {UnicastCommand, BroadcastCommand})
        if (lower.startsWith(name))
            return MessageLength(line.mid(name.size())).value_or(0);
    return 0;
}

} // namespace

bool IsMessageArgument(const QByteArray& argument, qsizetype addressSize)
{
    return argument.size() == 3 + addressSize && argument.at(2) == ',' && MessageLength(argument);
}

std::optional<ReceivedCommand> CommandReader::Take(char byte)
{
    if (payloadMissing > 0) {
        payload += byte;
        --payloadMissing;
    } else if (byte == '\n' || (byte == '\r' && line.isEmpty())) {
        return std::nullopt;
    } else if (byte != '\r' && line.size() < LongestLine) {
        line += byte;
        return std::nullopt;
    } else {
        payloadMissing = PayloadLength(line);
    }
    if (payloadMissing > 0)
        return std::nullopt;
    return ReceivedCommand{std::exchange(line, {}), std::exchange(payload, {})};
}

void CommandReader::Forget()
{
    *this = {};
}
