#pragma once

#include <QByteArray>
#include <QLatin1StringView>

#include <functional>
#include <variant>

/// What the modem says, as values.
namespace ModemEvent {

/// A node that the table does not hold yet.
struct NodeFound {
    QByteArray uin;
    QLatin1StringView type; ///< the tag that announced it; static text
};
struct Unicast {
    QByteArray uin; ///< shorter than 16 bytes where the chunk ends inside it
    QByteArray payload;
};
struct Broadcast {
    QByteArray uin; ///< as in Unicast
    QByteArray payload;
};
struct Delivered {
    quint8 number;
};
struct NotDelivered {
    quint8 number;
};
struct Accepted {
    quint8 number;
};
struct Refused {
    quint16 code;
};

using Any = std::variant<NodeFound, Unicast, Broadcast, Delivered, NotDelivered, Accepted, Refused>;

} // namespace ModemEvent

/// Tells whether the node table holds an address.
using IsKnownNode = std::function<bool(const QByteArray& uin)>;

using TakeModemEvent = std::function<void(const ModemEvent::Any& event)>;

/// The longest payload of one message, in bytes. Each text of a chunk is added to those before it, and a text without a
/// line end goes on to the end of the chunk: a chunk full of "BCAST:" would cost memory with the square of its size.
constexpr qsizetype MaxPayload = 65536;

/// Cuts `chunk`, the modem's output between two polls, into events and gives them to `take` one by one, grouped by kind
/// in a fixed order and not as they arrived. `isKnown` is asked when a node turns up, so it can answer with what `take`
/// has stored by then. Nothing is kept from chunk to chunk: a line cut in two is lost where its halves match nothing.
void ParseModemChunk(const QByteArray& chunk, const IsKnownNode& isKnown, const TakeModemEvent& take);
