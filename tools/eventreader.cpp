#include "eventreader.h"

#include <utility>

QList<HubEvent> EventReader::Take(QByteArrayView bytes)
{
    QList<HubEvent> events;
    held += bytes;
    qsizetype at = 0;
    for (qsizetype end = 0; (end = held.indexOf('\n', at)) >= 0; at = end + 1) {
        QByteArrayView line = QByteArrayView(held).sliced(at, end - at);
        if (line.endsWith('\r'))
            line.chop(1);
        TakeLine(line, events);
    }
    held = held.sliced(at);
    return events;
}

void EventReader::TakeLine(QByteArrayView line, QList<HubEvent>& events)
{
    if (line.isEmpty()) {
        if (!event.data.isEmpty())
            events.append(std::exchange(event, {}));
        return;
    }
    const qsizetype colon = line.indexOf(':');
    const QByteArrayView name = line.first(colon < 0 ? line.size() : colon);
    QByteArrayView value = colon < 0 ? QByteArrayView() : line.sliced(colon + 1);
    if (value.startsWith(' '))
        value = value.sliced(1);
    if (name == "id")
        event.id = value.toByteArray();
    else if (name == "event")
        event.kind = value.toByteArray();
    else if (name == "data")
        event.data += value;
}
