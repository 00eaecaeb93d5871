#pragma once

#include <QByteArray>

#include <variant>

/// The frames of the bus. On the wire: int32 length of what follows, one byte kind, body. All numbers big-endian; a
/// byte array is its int32 length and its bytes, length 0xFFFFFFFF for a null one.
namespace BusFrame {

enum Kind : quint8 { IdentifyKind = 200, ActionKind = 202, CommandKind = 203, BusMessageKind = 204 };

/// The sender's bus name, UTF-8.
struct Identify {
    QByteArray name;
};

/// A reply or a report to the administrative server.
struct Action {
    QByteArray actionName;
    QByteArray message;
    QByteArray data;
    qint32 idConnection = -1;
};

struct Command {
    QByteArray commandName;
    QByteArray data;
    qint32 idConnection = -1;
};

struct BusMessage {
    QByteArray iface;
    QByteArray data;
    qint32 idConnect = -1;
};

/// Every frame of another kind: the kind byte is the payload's version. A version that equals one of the four kinds
/// above cannot be told from it by the receiver.
struct Data {
    quint8 version = 0;
    QByteArray data;
};

using Frame = std::variant<Identify, Action, Command, BusMessage, Data>;

/// What a well-meaning peer may announce. A longer frame is refused, unless it is there as a whole already.
constexpr qint32 LargestAwaitedLength = 50'000'000;
constexpr qint32 LengthFieldSize = 4;

/// What the receiver of a stream does next.
enum class Step {
    Wait, ///< for more bytes
    ReadLength, ///< of the next frame: LengthFieldSize bytes
    ReadBody, ///< of `blockSize` bytes
    Refuse, ///< the stream: its length is no length
};

/// The next step with `available` bytes unread. `blockSize` is the length that was read last, 0 when no frame has been
/// begun. A frame of length 0 is passed over: it says nothing.
[[nodiscard]] Step NextStep(qint32 blockSize, qint64 available);

/// The length in a length field, LengthFieldSize bytes.
[[nodiscard]] qint32 Length(QByteArrayView field);

/// The whole frame, length field included.
[[nodiscard]] QByteArray Encode(const Frame& frame);

/// The frame in `body`, the bytes behind the length field. Total: a field that is cut, or that announces more bytes
/// than there are, reads as null (a number as 0), as do the fields behind it; an empty body is an empty Data frame.
[[nodiscard]] Frame Decode(QByteArray body);

/// Whether a Command frame `name` (not empty) is among the whole frames of `stream`, what has come in and is not yet
/// handled; `blockSize` as for NextStep().
[[nodiscard]] bool HoldsCommand(QByteArrayView stream, qint32 blockSize, QByteArrayView name);

} // namespace BusFrame
