#include "eventlog.h"

#include <QJsonDocument>

#include <algorithm>

EventLog::EventLog(quint64 first, Bounds chatterBounds, Bounds otherBounds, QObject* parent)
    : QObject(parent),
      firstId(first),
      nextId(first),
      chatter{chatterBounds, 0, {}},
      others{otherBounds, 0, {}}
{
}

quint64 EventLog::Append(QLatin1StringView kind, const QJsonObject& data)
{
    const Event event{nextId++, kind, QJsonDocument(data).toJson(QJsonDocument::Compact)};
    Keep(kind == EventKind::Traffic || kind == EventKind::Log ? chatter : others, event);
    emit Appended(event);
    return event.id;
}

void EventLog::Keep(Kept& kept, const Event& event)
{
    kept.events.push_back(event);
    kept.bytes += event.data.size();
    const auto isTooMuch = [&kept] {
        return static_cast<qsizetype>(kept.events.size()) > kept.bounds.events || kept.bytes > kept.bounds.bytes;
    };
    while (kept.events.size() > 1 && isTooMuch()) {
        kept.bytes -= kept.events.front().data.size();
        kept.events.pop_front();
    }
}

QList<EventLog::Event> EventLog::Since(quint64 id) const
{
    const bool isOurs = id + 1 >= firstId && id < nextId;
    QList<Event> found;
    for (const Kept* const kept : {&chatter, &others})
        for (const Event& event : kept->events)
            if (!isOurs || event.id > id)
                found.append(event);
    std::ranges::sort(found, {}, &Event::id);
    return found;
}
