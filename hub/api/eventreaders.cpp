#include "eventreaders.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Below what a stream may hold: the newest events have room behind it.
constexpr qsizetype MostResumed = 128 * 1024;

bool IsWanted(const EventReaders::Wish& wish, const ApiEvent& event)
{
    if (!wish.kinds.isEmpty() && !wish.kinds.contains(event.kind))
        return false;
    return wish.controller.isEmpty()
        || QJsonDocument::fromJson(event.data)[u"controller"_s].toString() == wish.controller;
}

void Send(EventStream& stream, const ApiEvent& event)
{
    stream.Send(QByteArray::number(event.id), event.kind, event.data);
}

/// Where to begin in `events` so that what follows is not too much.
qsizetype FirstThatFits(const QList<ApiEvent>& events)
{
    qsizetype size = 0;
    qsizetype first = events.size();
    while (first > 0) {
        const ApiEvent& event = events[first - 1];
        size += event.data.size() + event.kind.size() + 64;
        if (size > MostResumed)
            break;
        --first;
    }
    return first;
}

} // namespace

void EventReaders::Add(
    const std::shared_ptr<EventStream>& stream, Wish wish, const QList<ApiEvent>& missed, quint64 last)
{
    const qsizetype first = FirstThatFits(missed);
    const quint64 next = first < missed.size() ? missed[first].id : 0;
    if (next > last + 1)
        stream->Send({}, "gap",
            QJsonDocument(QJsonObject{{u"after"_s, QString::number(last)}, {u"before"_s, QString::number(next)}})
                .toJson(QJsonDocument::Compact));
    for (const ApiEvent& event : missed.sliced(first))
        if (IsWanted(wish, event))
            Send(*stream, event);
    if (!stream->IsOpen())
        return;
    connect(stream.get(), &EventStream::Closed, this, [this, raw = stream.get()] { Remove(raw); });
    readers.push_back({.stream = stream, .wish = std::move(wish)});
    TellTraffic();
}

void EventReaders::Publish(const ApiEvent& event)
{
    // A reader who has stalled goes while it is sent to him.
    const std::vector<Reader> now = readers;
    for (const Reader& reader : now)
        if (IsWanted(reader.wish, event))
            Send(*reader.stream, event);
}

bool EventReaders::TrafficIsWanted() const
{
    return std::any_of(readers.begin(), readers.end(),
        [](const Reader& reader) { return reader.wish.kinds.isEmpty() || reader.wish.kinds.contains("traffic"_ba); });
}

void EventReaders::Remove(const EventStream* stream)
{
    std::erase_if(readers, [stream](const Reader& reader) { return reader.stream.get() == stream; });
    TellTraffic();
}

void EventReaders::TellTraffic()
{
    if (TrafficIsWanted() == toldTraffic)
        return;
    toldTraffic = !toldTraffic;
    emit TrafficWanted(toldTraffic);
}
