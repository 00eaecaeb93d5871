#pragma once

#include "apisources.h"
#include "eventstream.h"

#include <QObject>
#include <QSet>

#include <memory>
#include <vector>

/// Who follows the events now, and who wants which.
class EventReaders final : public QObject {
    Q_OBJECT
public:
    struct Wish {
        QSet<QByteArray> kinds; ///< empty: all
        QString controller; ///< empty: of all
    };

    /// A reader who begins with `missed`, the oldest first: what he has not seen since `last`, the last event that he
    /// has seen, if he resumes. Of more than a stream may hold only the newest are sent; where events are left out,
    /// also because they are not known any more, an event "gap" says so.
    void Add(
        const std::shared_ptr<EventStream>& stream, Wish wish, const QList<ApiEvent>& missed = {}, quint64 last = 0);

    /// To all who want it.
    void Publish(const ApiEvent& event);

    [[nodiscard]] bool TrafficIsWanted() const;

signals:
    /// The first reader of traffic has come, or the last one has gone.
    void TrafficWanted(bool wanted);

private:
    struct Reader {
        std::shared_ptr<EventStream> stream;
        Wish wish;
    };

    void Remove(const EventStream* stream);
    void TellTraffic();

    std::vector<Reader> readers;
    bool toldTraffic = false;
};
