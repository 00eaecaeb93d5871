#pragma once

#include <QByteArray>
#include <QObject>

#include <functional>
#include <memory>

/// The server's end of one stream of Server-Sent Events. Nothing here waits. What the reader has not taken yet waits in
/// a buffer; when that would grow beyond its bound the stream is closed, so that a reader who stalls costs no more and
/// finds out, and may resume from the last id that he has seen.
class EventStream final : public QObject {
    Q_OBJECT
public:
    /// How the connection is told: `wake` that there is something to take, or that the end was reached; `cut` that it
    /// is to be broken off, whatever is still on its way.
    struct Connection {
        std::function<void()> wake;
        std::function<void()> cut;
    };

    EventStream(Connection connection_, qsizetype boundBytes);
    ~EventStream() override;

    /// One event. `id` and `type` are of one line and may be empty; `data` may have several lines.
    void Send(QByteArrayView id, QByteArrayView type, QByteArrayView data);

    /// A line that readers skip; it shows both sides that the other one is still there.
    void Beat();

    /// Ends the stream once the reader has taken what waits.
    void End();

    [[nodiscard]] bool IsOpen() const { return state == State::Open; }

    /// For the connection: up to `most` bytes of what waits, taken out.
    qsizetype Take(char* to, qsizetype most);
    [[nodiscard]] bool IsAtEnd() const { return state != State::Open && taken == waiting.size(); }

    /// For the connection: it is no more. Nothing is asked of it afterwards.
    void ConnectionGone();

signals:
    /// Once, whatever the reason.
    void Closed();

private:
    enum class State { Open, Ending, Gone };

    void Append(const QByteArray& bytes);
    void Leave(State next);

    Connection connection;
    const qsizetype bound;
    QByteArray waiting;
    qsizetype taken = 0; ///< of these; the buffer is moved together only when all of it has gone
    State state = State::Open;
};
