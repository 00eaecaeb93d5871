#include "eventstream.h"

#include <cstring>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype KeptCapacity = 4096;

} // namespace

EventStream::EventStream(Connection connection_, qsizetype boundBytes)
    : connection(std::move(connection_)),
      bound(boundBytes)
{
}

EventStream::~EventStream() = default;

void EventStream::Send(QByteArrayView id, QByteArrayView type, QByteArrayView data)
{
    QByteArray bytes;
    bytes.reserve(id.size() + type.size() + data.size() + 32);
    const auto addLine = [&bytes](const char* field, QByteArrayView value) {
        bytes.append(field).append(value).append('\n');
    };
    if (!id.isEmpty())
        addLine("id: ", id);
    if (!type.isEmpty())
        addLine("event: ", type);
    qsizetype end = 0;
    for (; (end = data.indexOf('\n')) >= 0; data = data.sliced(end + 1))
        addLine("data: ", data.first(end));
    addLine("data: ", data);
    Append(bytes + '\n');
}

void EventStream::Beat()
{
    Append(":\n\n"_ba);
}

void EventStream::End()
{
    if (state != State::Open)
        return;
    Leave(State::Ending);
    connection.wake();
}

void EventStream::Append(const QByteArray& bytes)
{
    if (state != State::Open)
        return;
    if (waiting.size() - taken + bytes.size() > bound) {
        waiting.clear();
        taken = 0;
        Leave(State::Ending);
        connection.cut();
        return;
    }
    if (taken > 0) {
        waiting.remove(0, taken);
        taken = 0;
    }
    waiting += bytes;
    connection.wake();
}

qsizetype EventStream::Take(char* to, qsizetype most)
{
    const qsizetype size = qMin(most, waiting.size() - taken);
    if (size > 0)
        std::memcpy(to, waiting.constData() + taken, static_cast<size_t>(size));
    taken += size;
    if (taken == waiting.size()) {
        // A hundred readers would keep what one burst took.
        if (waiting.capacity() > KeptCapacity)
            waiting = {};
        waiting.resize(0);
        taken = 0;
    }
    return size;
}

void EventStream::ConnectionGone()
{
    connection = {.wake = [] {}, .cut = [] {}};
    if (state == State::Open)
        Leave(State::Gone);
}

void EventStream::Leave(State next)
{
    state = next;
    emit Closed();
}
