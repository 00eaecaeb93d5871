#include "modemparser.h"

#include <algorithm>
#include <array>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype UinSize = 16;

class Parser final {
public:
    Parser(const QByteArray& bytes, const IsKnownNode& known, const TakeModemEvent& taker)
        : chunk(bytes),
          isKnown(known),
          take(taker)
    {
    }

    void Parse();

private:
    struct Tag;
    static const std::array<Tag, 9> Tags;

    void ForEach(const Tag& tag);

    // One occurrence of a tag: `at` is its first byte, `behind` the byte that follows it.
    void Scanned(QLatin1StringView tag, qsizetype at, qsizetype behind);
    void Unicast(QLatin1StringView tag, qsizetype at, qsizetype behind);
    void Broadcast(QLatin1StringView tag, qsizetype at, qsizetype behind);
    void DeliveryReport(QLatin1StringView tag, qsizetype at, qsizetype behind);
    void Accepted(QLatin1StringView tag, qsizetype at, qsizetype behind);
    void Refused(QLatin1StringView tag, qsizetype at, qsizetype behind);

    QByteArray CheckNode(qsizetype behind, QLatin1StringView type);
    void UpdatePayload(qsizetype q);
    [[nodiscard]] std::optional<int> TwoDigits(qsizetype at, int base) const;
    [[nodiscard]] char At(qsizetype at) const { return at >= 0 && at < chunk.size() ? chunk.at(at) : '\0'; }

    const QByteArray& chunk;
    const IsKnownNode& isKnown;
    const TakeModemEvent& take;
    QByteArray payload; // of the last message: a message of neither form repeats it, a text adds to it
};

struct Parser::Tag {
    QLatin1StringView text;
    void (Parser::*handle)(QLatin1StringView tag, qsizetype at, qsizetype behind);
};

// The order of the events in a chunk. A unicast is seen only at the start of a line, a broadcast anywhere.
constexpr std::array<Parser::Tag, 9> Parser::Tags{{
    {"FFD:"_L1, &Parser::Scanned},
    {"COO:"_L1, &Parser::Scanned},
    {"SED:"_L1, &Parser::Scanned},
    {"NEWNODE: "_L1, &Parser::Scanned},
    {"\r\nUCAST:"_L1, &Parser::Unicast},
    {"BCAST:"_L1, &Parser::Broadcast},
    {"ACK:"_L1, &Parser::DeliveryReport},
    {"+UCASTB:"_L1, &Parser::Accepted},
    {"ERROR:"_L1, &Parser::Refused},
}};

void Parser::Parse()
{
    for (const Tag& tag : Tags)
        ForEach(tag);
}

// Every tag has one colon, and colons are rare and quickly found.
void Parser::ForEach(const Tag& tag)
{
    const qsizetype colonInTag = tag.text.indexOf(':'_L1);
    const QByteArrayView whole(chunk);
    for (qsizetype colon = chunk.indexOf(':'); colon >= 0; colon = chunk.indexOf(':', colon + 1)) {
        const qsizetype at = colon - colonInTag;
        if (at >= 0 && whole.sliced(at).startsWith(QByteArrayView(tag.text)))
            (this->*tag.handle)(tag.text, at, at + tag.text.size());
    }
}

void Parser::Scanned(QLatin1StringView tag, qsizetype, qsizetype behind)
{
    CheckNode(behind, tag);
}

void Parser::Unicast(QLatin1StringView, qsizetype, qsizetype behind)
{
    const QByteArray uin = CheckNode(behind, "NEWNODE"_L1);
    UpdatePayload(behind + UinSize);
    take(ModemEvent::Unicast{uin, payload});
}

void Parser::Broadcast(QLatin1StringView, qsizetype, qsizetype behind)
{
    const QByteArray uin = CheckNode(behind, "NEWNODE"_L1);
    UpdatePayload(behind + UinSize);
    take(ModemEvent::Broadcast{uin, payload});
}

void Parser::DeliveryReport(QLatin1StringView, qsizetype at, qsizetype behind)
{
    const std::optional<int> number = TwoDigits(behind, 10);
    if (!number)
        return;
    if (At(at - 1) == '\n')
        take(ModemEvent::Delivered{static_cast<quint8>(*number)});
    else if (At(at - 1) == 'N')
        take(ModemEvent::NotDelivered{static_cast<quint8>(*number)});
}

void Parser::Accepted(QLatin1StringView, qsizetype, qsizetype behind)
{
    if (const std::optional<int> number = TwoDigits(behind, 10))
        take(ModemEvent::Accepted{static_cast<quint8>(*number)});
}

void Parser::Refused(QLatin1StringView, qsizetype, qsizetype behind)
{
    if (const std::optional<int> code = TwoDigits(behind, 16))
        take(ModemEvent::Refused{static_cast<quint16>(*code)});
}

QByteArray Parser::CheckNode(qsizetype behind, QLatin1StringView type)
{
    QByteArray uin = chunk.mid(behind, UinSize);
    if (uin.size() == UinSize && !isKnown(uin))
        take(ModemEvent::NodeFound{uin, type});
    return uin;
}

// The two forms are ",LL?" with LL raw bytes behind it, and "=text" up to the end of the line.
void Parser::UpdatePayload(qsizetype q)
{
    if (At(q) == ',') {
        // The length is a signed byte: 80 to ff are negative and stand, like a length that is no number, for no bytes.
        const qsizetype length = std::max<qint8>(0, static_cast<qint8>(TwoDigits(q + 1, 16).value_or(0)));
        const bool cut = q + 4 + length > chunk.size();
        payload = cut ? chunk.right(length) : chunk.mid(q + 4, length);
    } else if (At(q) == '=') {
        const auto text = chunk.cbegin() + q + 1;
        const auto limit = text + std::min<qsizetype>(chunk.cend() - text, MaxPayload - payload.size());
        const auto end = std::find_if(text, limit, [](char c) { return c == '\r' || c == '\n'; });
        payload.append(text, end - text);
    }
}

// A lone digit at the end of the chunk is a number too.
std::optional<int> Parser::TwoDigits(qsizetype at, int base) const
{
    bool isNumber = false;
    const int number = chunk.mid(at, 2).toInt(&isNumber, base);
    return isNumber ? std::optional(number) : std::nullopt;
}

} // namespace

void ParseModemChunk(const QByteArray& chunk, const IsKnownNode& isKnown, const TakeModemEvent& take)
{
    Parser(chunk, isKnown, take).Parse();
}
