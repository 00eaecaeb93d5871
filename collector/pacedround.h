#pragma once

#include "radiowindow.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QStringList>

#include <optional>

/// A message to each of many nodes, as fast as they and the radio take it: which are still to be sent, which are on
/// their way, when the next may go. It sends nothing itself, and time passes only when it is told.
class PacedRound final {
public:
    /// What ends a node's turn early.
    enum class Until {
        Reported, ///< the modem's report of the delivery: the message gets no answer
        Answered, ///< the node's answer, or the report that it was not reached
    };

    /// A node's turn ends after `mostMs` in any case. `radioWindow` outlives the round, and learns from it.
    PacedRound(const QStringList& uins, Until goal, qint64 mostMs, RadioWindow& radioWindow);

    /// The node to send to now, which is on its way then; none while it has to wait. The modem is given one message at
    /// a time: the next one goes when it has taken that, so that a refusal and a number find their message.
    [[nodiscard]] std::optional<QString> Next();
    [[nodiscard]] bool IsOver() const { return waiting.isEmpty() && onTheWay.isEmpty(); }

    void Passed(qint64 ms);

    // What the modem says about the message that it was given last.
    void Accepted() { unaccepted.reset(); }
    /// It is given the message again a little later, until it has refused it MostTries times.
    void Refused();

    // A node that is not on its way is passed over.
    void Reported(const QString& uin, bool delivered);
    void Answered(const QString& uin);
    /// Nothing was sent to it after all.
    void NotSent(const QString& uin) { EndTurn(uin); }

    /// The modem was started anew, and has forgotten what was on its way: all of it is sent again.
    void StartAgain();

    static constexpr int MostTries = 3;
    static constexpr qint64 AfterRefusalMs = 250;
    static constexpr qint64 MostUntilAcceptedMs = 1000; ///< later its word on the message was lost

private:
    struct Turn {
        QString uin;
        qint64 ms = 0; ///< since it was sent
        bool reported = false;
    };
    [[nodiscard]] qsizetype Find(const QString& uin) const;
    bool EndTurn(const QString& uin); ///< whether it was on its way

    const Until until;
    const qint64 turnMs;
    RadioWindow& window;
    QStringList waiting;
    QList<Turn> onTheWay;
    QHash<QString, int> refusals;
    struct Unaccepted {
        QString uin;
        qint64 ms = 0;
    };
    std::optional<Unaccepted> unaccepted;
    qint64 pauseMs = 0; ///< left of the one after a refusal
};
