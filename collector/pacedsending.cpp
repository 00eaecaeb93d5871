// Messages to many nodes: with a fixed pause behind each, or, where the settings ask for that, as fast as the nodes
// answer. Then the modem's output is taken while the collector waits, and a sweep in which nobody is silent is closed
// at once.

#include "clock.h"
#include "collector.h"
#include "delay.h"
#include "pacedround.h"

#include <QCoreApplication>

#include <utility>

namespace {

constexpr unsigned int LookEveryMs = 10;

} // namespace

void TCollector::ToEach(const QStringList& uins, PacedRound::Until goal, unsigned int pauseMs, const SendToOne& send)
{
    if (vars.field.PacedByAnswers()) {
        ToEachPaced(uins, goal, pauseMs, send);
        return;
    }
    for (const QString& uin : uins) {
        if (!send(uin))
            continue;
        Delay(pauseMs);
        if (goal == PacedRound::Until::Answered)
            QCoreApplication::processEvents(); // answers are taken in
    }
}

void TCollector::ToEachPaced(
    const QStringList& uins, PacedRound::Until goal, unsigned int mostMs, const SendToOne& send)
{
    PacedRound thisRound(uins, goal, mostMs, window);
    PacedRound* const outer = std::exchange(round, &thisRound);
    while (!thisRound.IsOver()) {
        while (const std::optional<QString> uin = thisRound.Next()) {
            reports.NumberIsLost(); // of the message before, if it has none by now
            if (!send(*uin))
                thisRound.NotSent(*uin);
        }
        const qint64 before = MonotonicMs();
        TakeFromRadio();
        thisRound.Passed(MonotonicMs() - before);
    }
    round = outer;
}

/// Events run before the radio is read: one of them may take long, and what came meanwhile still counts as on time.
void TCollector::TakeFromRadio()
{
    Delay(LookEveryMs);
    QCoreApplication::processEvents();
    emit RadioWanted();
}

/// The meters get their time to do what their nodes were told at `since`, MonotonicMs().
void TCollector::WaitForMeters(qint64 since)
{
    if (!vars.field.PacedByAnswers()) {
        Delay(vars.BCAST_to_UCAST_Delay);
        return;
    }
    while (MonotonicMs() - since < vars.BCAST_to_UCAST_Delay)
        TakeFromRadio();
}

/// It would be closed at the next tick; nobody is left to wait for.
void TCollector::CloseCompleteSweep()
{
    if (vars.field.PacedByAnswers() && sweep.open && SilentNodes().isEmpty())
        CloseSweep();
}
