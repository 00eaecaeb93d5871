#pragma once

#include <QtGlobal>

#include <optional>

/// Whether the daemon does its work: a tick of polling begins and ends, and within it one message after the other is
/// sent. Waits alone prove nothing; an endless loop may consist of them.
class Liveness final {
public:
    /// The longest time between two pieces of work. The longest single wait of a tick is 65.5 s, a delay of the
    /// settings; beside it there may be one for ntpq (30 s), for the modem's start (13 s) and for a database that does
    /// not answer (20 s). Between two ticks are 25 s.
    static constexpr qint64 LongestPauseMs = 300000;

    Liveness();

    void TickBegins();
    /// `nextComes`: the timer of the next tick runs. Without it there is no more work until the daemon is started anew.
    void TickEnds(bool nextComes);

    /// In this tick about `messages` are to be sent one after the other. What is far more than that, and batch after
    /// batch without end, is no work.
    void BatchBegins(qsizetype messages);

    /// One message is sent. Returns its number in its batch, from 1; none outside of a tick, or aside of it.
    std::optional<qsizetype> Step();

    [[nodiscard]] bool Works() const;

    /// How long nothing has been done, ms.
    [[nodiscard]] qint64 PauseMs() const;

    /// While one lives the thread does something beside its polling, of which only Step() tells: a command of the
    /// administrator, a connection of the bus, a row that waits for a locked table. That time is not counted against
    /// the polling, and it is no work of it either.
    class Aside final {
    public:
        explicit Aside(Liveness& work);
        ~Aside();
        Q_DISABLE_COPY_MOVE(Aside)

    private:
        Liveness& work;
        const qint64 began;
        const qint64 workBefore;
    };

private:
    qint64 lastWork; // on the monotonic clock, ms
    bool isTicking = false;
    bool isStopped = false;
    int asides = 0;
    int batches = 0; // of this tick
    qsizetype messagesOfBatch = 0;
    qsizetype steps = 0; // of this batch
};
