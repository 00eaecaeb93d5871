#include "eventlog.h"

#include <QJsonDocument>

EventLog::EventLog(quint64 first, qsizetype mostEvents_, qsizetype mostBytes_, QObject* parent)
    : QObject(parent),
      firstId(first),
      mostEvents(mostEvents_),
      mostBytes(mostBytes_),
      nextId(first)
{
}

quint64 EventLog::Append(QLatin1StringView kind, const QJsonObject& data)
{
    const Event event{nextId++, kind, QJsonDocument(data).toJson(QJsonDocument::Compact)};
    events.push_back(event);
    bytes += event.data.size();
    while (events.size() > 1 && (static_cast<qsizetype>(events.size()) > mostEvents || bytes > mostBytes)) {
        bytes -= events.front().data.size();
        events.pop_front();
    }
    emit Appended(event);
    return event.id;
}

QList<EventLog::Event> EventLog::Since(quint64 id) const
{
    const bool isOurs = id + 1 >= firstId && id < nextId;
    QList<Event> found;
    for (const Event& event : events)
        if (!isOurs || event.id > id)
            found.append(event);
    return found;
}
