#include "frame.h"

#include <QDataStream>
#include <QIODevice>
#include <QtEndian>

#include <utility>

namespace {

constexpr auto StreamVersion = QDataStream::Qt_4_5; // stream version 11: what every process on the bus speaks

// Six fields of the Action frame whose meaning is the administrative server's; these values are given.
constexpr qint8 ActionFlag = 1;
constexpr qint16 ActionFields[] = {-1, -1, 0, 0, 0};

struct BodyWriter {
    QDataStream& out;

    void operator()(const BusFrame::Identify& frame) { out << quint8{BusFrame::IdentifyKind} << frame.name; }
    void operator()(const BusFrame::Action& frame)
    {
        out << quint8{BusFrame::ActionKind} << frame.actionName << frame.message << frame.data << ActionFlag;
        for (const qint16 field : ActionFields)
            out << field;
        out << frame.idConnection;
    }
    void operator()(const BusFrame::Command& frame)
    {
        out << quint8{BusFrame::CommandKind} << frame.commandName << frame.data << frame.idConnection;
    }
    void operator()(const BusFrame::BusMessage& frame)
    {
        out << quint8{BusFrame::BusMessageKind} << frame.iface << frame.data << frame.idConnect;
    }
    void operator()(const BusFrame::Data& frame) { out << frame.version << frame.data; }
};

template <typename Frame, typename Read>
Frame ReadFields(const QByteArray& body, Read read)
{
    QDataStream in(body);
    in.setVersion(StreamVersion);
    in.skipRawData(1); // the kind
    Frame frame;
    read(in, frame);
    return frame;
}

void ReadAction(QDataStream& in, BusFrame::Action& frame)
{
    qint8 flag = 0;
    in >> frame.actionName >> frame.message >> frame.data >> flag;
    for ([[maybe_unused]] const qint16 field : ActionFields) {
        qint16 discarded = 0;
        in >> discarded;
    }
    in >> frame.idConnection;
}

// The byte array behind the kind byte, cut out of `body` in place: payloads are large, and this saves copying them.
QByteArray OnlyArray(QByteArray&& body)
{
    constexpr qsizetype Begin = 1 + sizeof(qint32);
    if (body.size() < Begin)
        return {};
    const auto length = qFromBigEndian<qint32>(body.constData() + 1);
    if (length < 0 || length > body.size() - Begin)
        return {};
    body.truncate(Begin + length);
    return std::move(body.remove(0, Begin));
}

// Without decoding the rest: while the thread waits this is asked of all that strangers have sent, again and again.
bool IsCommand(QByteArrayView body, QByteArrayView name)
{
    if (body.isEmpty() || static_cast<quint8>(body.front()) != BusFrame::CommandKind)
        return false;
    const QByteArrayView field = body.sliced(1);
    return field.size() >= BusFrame::LengthFieldSize && BusFrame::Length(field) == name.size()
        && field.sliced(BusFrame::LengthFieldSize).startsWith(name);
}

} // namespace

QByteArray BusFrame::Encode(const Frame& frame)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(StreamVersion);
    out << qint32{0};
    std::visit(BodyWriter{out}, frame);
    out.device()->seek(0);
    out << static_cast<qint32>(bytes.size() - LengthFieldSize);
    return bytes;
}

BusFrame::Frame BusFrame::Decode(QByteArray body)
{
    const quint8 kind = body.isEmpty() ? quint8{0} : static_cast<quint8>(body.front());
    switch (kind) {
    case IdentifyKind:
        return ReadFields<Identify>(body, [](auto& in, auto& frame) { in >> frame.name; });
    case ActionKind:
        return ReadFields<Action>(body, ReadAction);
    case CommandKind:
        return ReadFields<Command>(
            body, [](auto& in, auto& frame) { in >> frame.commandName >> frame.data >> frame.idConnection; });
    case BusMessageKind:
        return ReadFields<BusMessage>(
            body, [](auto& in, auto& frame) { in >> frame.iface >> frame.data >> frame.idConnect; });
    default:
        return Data{kind, OnlyArray(std::move(body))};
    }
}

BusFrame::Step BusFrame::NextStep(qint32 blockSize, qint64 available)
{
    if (blockSize == 0)
        return available < LengthFieldSize ? Step::Wait : Step::ReadLength;
    if (blockSize < 0)
        return Step::Refuse;
    if (blockSize <= available)
        return Step::ReadBody;
    return blockSize > LargestAwaitedLength ? Step::Refuse : Step::Wait;
}

qint32 BusFrame::Length(QByteArrayView field)
{
    return qFromBigEndian<qint32>(field.data());
}

bool BusFrame::HoldsCommand(QByteArrayView stream, qint32 blockSize, QByteArrayView name)
{
    const auto take = [&stream](qsizetype size) {
        const QByteArrayView taken = stream.first(size);
        stream = stream.sliced(size);
        return taken;
    };
    for (;;) {
        switch (NextStep(blockSize, stream.size())) {
        case Step::Wait:
        case Step::Refuse:
            return false;
        case Step::ReadLength:
            blockSize = Length(take(LengthFieldSize));
            break;
        case Step::ReadBody:
            if (IsCommand(take(std::exchange(blockSize, 0)), name))
                return true;
        }
    }
}
