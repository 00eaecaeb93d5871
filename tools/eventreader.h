#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

/// One event of the hub's.
struct HubEvent {
    QByteArray id;
    QByteArray kind; ///< "traffic", "log", ...
    QByteArray data; ///< a JSON object
};

/// Reads Server-Sent Events out of bytes as they come. Comments and unknown fields are passed over.
class EventReader final {
public:
    [[nodiscard]] QList<HubEvent> Take(QByteArrayView bytes);

    /// More has come without the end of an event than any has: this is no hub.
    [[nodiscard]] bool IsTooMuch() const { return held.size() + event.data.size() > MostHeld; }

    static constexpr qsizetype MostHeld = 4 * 1024 * 1024;

private:
    void TakeLine(QByteArrayView line, QList<HubEvent>& events);

    QByteArray held; ///< of a line
    HubEvent event;
};
