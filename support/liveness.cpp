#include "liveness.h"

#include "clock.h"

Liveness::Liveness() : lastWork(MonotonicMs()) { }

void Liveness::TickBegins()
{
    isTicking = true;
    isStopped = false;
    batches = 0;
    messagesOfBatch = 0;
    steps = 0;
    lastWork = MonotonicMs();
}

void Liveness::TickEnds(bool nextComes)
{
    isTicking = false;
    isStopped = !nextComes;
    lastWork = MonotonicMs();
}

void Liveness::BatchBegins(qsizetype messages)
{
    ++batches;
    messagesOfBatch = messages;
    steps = 0;
}

std::optional<qsizetype> Liveness::Step()
{
    constexpr int MostBatches = 32; // the longest tick has 9: clocks are set, two sweeps go on and two begin
    if (asides > 0) {
        lastWork = MonotonicMs();
        return std::nullopt;
    }
    if (!isTicking)
        return std::nullopt;
    const qsizetype mostSteps = 4 * messagesOfBatch + 16;
    ++steps;
    if (batches <= MostBatches && steps <= mostSteps)
        lastWork = MonotonicMs();
    return steps;
}

bool Liveness::Works() const
{
    return !isStopped && PauseMs() <= LongestPauseMs;
}

qint64 Liveness::PauseMs() const
{
    return MonotonicMs() - lastWork;
}

Liveness::Aside::Aside(Liveness& work_) : work(work_), began(MonotonicMs()), workBefore(work.lastWork)
{
    ++work.asides;
    work.lastWork = began;
}

Liveness::Aside::~Aside()
{
    --work.asides;
    work.lastWork = workBefore + MonotonicMs() - began;
}
