#include "pacedround.h"

#include <algorithm>
#include <utility>

PacedRound::PacedRound(const QStringList& uins, Until goal, qint64 mostMs, RadioWindow& radioWindow)
    : until(goal),
      turnMs(mostMs),
      window(radioWindow),
      waiting(uins)
{
}

std::optional<QString> PacedRound::Next()
{
    if (unaccepted || pauseMs > 0 || onTheWay.size() >= window.Size())
        return std::nullopt;
    // An address that is registered twice has two turns, one after the other.
    const auto next =
        std::find_if(waiting.begin(), waiting.end(), [this](const QString& uin) { return Find(uin) < 0; });
    if (next == waiting.end())
        return std::nullopt;
    const QString uin = *next;
    waiting.erase(next);
    onTheWay.append({uin});
    unaccepted = Unaccepted{uin};
    return uin;
}

void PacedRound::Passed(qint64 ms)
{
    pauseMs = std::max<qint64>(0, pauseMs - ms);
    if (unaccepted && (unaccepted->ms += ms) >= MostUntilAcceptedMs)
        unaccepted.reset();
    for (Turn& turn : onTheWay)
        turn.ms += ms;
    onTheWay.removeIf([this](const Turn& turn) {
        const bool over = turn.ms >= turnMs;
        if (over && !turn.reported)
            window.Failed();
        return over;
    });
}

void PacedRound::Refused()
{
    if (!unaccepted)
        return;
    const QString uin = unaccepted->uin;
    window.Shrink();
    pauseMs = AfterRefusalMs;
    if (EndTurn(uin) && ++refusals[uin] < MostTries)
        waiting.prepend(uin);
}

void PacedRound::Reported(const QString& uin, bool delivered)
{
    const qsizetype at = Find(uin);
    if (at < 0)
        return;
    if (delivered && until == Until::Answered) {
        onTheWay[at].reported = true;
        window.Delivered();
        return;
    }
    EndTurn(uin);
    if (delivered)
        window.Succeeded();
    else
        window.Failed();
}

void PacedRound::Answered(const QString& uin)
{
    if (until == Until::Answered && EndTurn(uin))
        window.Succeeded();
}

void PacedRound::StartAgain()
{
    QStringList again;
    for (const Turn& turn : std::exchange(onTheWay, {}))
        again.append(turn.uin);
    waiting = again + waiting;
    unaccepted.reset();
}

qsizetype PacedRound::Find(const QString& uin) const
{
    const auto turn =
        std::find_if(onTheWay.begin(), onTheWay.end(), [&](const Turn& other) { return other.uin == uin; });
    return turn == onTheWay.end() ? -1 : turn - onTheWay.begin();
}

bool PacedRound::EndTurn(const QString& uin)
{
    if (unaccepted && unaccepted->uin == uin)
        unaccepted.reset();
    const qsizetype at = Find(uin);
    if (at >= 0)
        onTheWay.removeAt(at);
    return at >= 0;
}
