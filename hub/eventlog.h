#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QLatin1StringView>
#include <QList>
#include <QObject>

#include <deque>

/// What an event is about.
namespace EventKind {
inline constexpr QLatin1StringView Traffic{"traffic"}; ///< bytes on a serial line
inline constexpr QLatin1StringView Log{"log"}; ///< what the daemon does, in its words
inline constexpr QLatin1StringView Sweep{"sweep"}; ///< a sweep has closed
inline constexpr QLatin1StringView Incident{"incident"};
inline constexpr QLatin1StringView Alarm{"alarm"}; ///< the daemon reports a failure of the modem, or an opened case
inline constexpr QLatin1StringView Link{"link"}; ///< a daemon has come or gone
inline constexpr QLatin1StringView Command{"command"}; ///< somebody had the daemon do something
inline constexpr QLatin1StringView All[] = {Traffic, Log, Sweep, Incident, Alarm, Link, Command};
} // namespace EventKind

/// What has happened of late, to be followed and to be resumed. Bounded: the oldest events go. Traffic and log, of
/// which there may be thousands a minute, have bounds of their own and push nothing else out.
class EventLog final : public QObject {
    Q_OBJECT

public:
    struct Event {
        quint64 id = 0;
        QLatin1StringView kind; ///< one of EventKind
        QByteArray data; ///< a JSON object, in one line
    };

    struct Bounds {
        qsizetype events = 0;
        qsizetype bytes = 0; ///< of their data; but the newest one always stays
    };

    /// `firstId` is the first event's number: larger than any of an earlier run, so that who resumes after a restart
    /// misses nothing.
    EventLog(quint64 firstId, Bounds chatter, Bounds others, QObject* parent = nullptr);

    /// The new event's number: one more than the number before.
    quint64 Append(QLatin1StringView kind, const QJsonObject& data);

    /// What came behind the event `id` and is still kept, the oldest first. A number that was never given out is of
    /// another run: then all that is kept.
    [[nodiscard]] QList<Event> Since(quint64 id) const;

signals:
    void Appended(const EventLog::Event& event);

private:
    struct Kept {
        Bounds bounds;
        qsizetype bytes = 0;
        std::deque<Event> events;
    };
    static void Keep(Kept& kept, const Event& event);

    const quint64 firstId;
    quint64 nextId;
    Kept chatter; ///< traffic and log
    Kept others;
};
