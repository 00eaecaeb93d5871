#pragma once

#include "numberedreports.h"

#include <QByteArray>
#include <QHash>
#include <QList>

#include <optional>

/// What is known of each node in the current sweep, from the modem's reports on the messages that were sent and from
/// what the node sends itself.
class DeliveryReports final {
public:
    enum class Match { InOrder, ByNumber };
    explicit DeliveryReports(Match how = Match::InOrder) : match(how) { }

    /// A message went out to `uin`: the modem reports on it later.
    void Sent(const QByteArray& uin);

    /// The modem gave `number` to a message. Returns the report that came before the number, if so.
    using EarlyReport = NumberedReports::EarlyReport;
    std::optional<EarlyReport> Accepted(quint8 number);

    /// Matched by number, what was sent and has no number yet gets none: the modem refused it, or its number was lost.
    void NumberIsLost() { numbered.NumberIsLost(); }

    /// The modem's report. Returns whose message it is about: that of the oldest one without a report, whatever
    /// `number` is, or that with the number. None when no such message is known.
    std::optional<QByteArray> Acknowledged(quint8 number) { return TakeReport(number, true); }
    std::optional<QByteArray> Refused(quint8 number) { return TakeReport(number, false); }

    /// A sweep begins. Matched by number, a report that has not come by now is lost.
    void SweepBegins() { numbered.Forget(); }

    /// `uin` has sent something. False, and nothing is kept, when it is new and MostNodes are known already: any radio
    /// device can invent addresses.
    bool Heard(const QByteArray& uin)
    {
        if (meterState.size() >= MostNodes && !meterState.contains(uin))
            return false;
        meterState[uin] = NodeHeard;
        return true;
    }
    void CouldNotDecode(const QByteArray& uin) { meterState[uin] = Undecodable; }
    void Forget(const QByteArray& uin) { meterState[uin] = NothingHeard; }

    /// The status of the row of a meter that gave no reading; 0 for a node of which nothing is known.
    [[nodiscard]] unsigned char StatusOf(const QByteArray& uin) const { return meterState.value(uin); }

    static constexpr qsizetype MostNodes = 100'000;

private:
    enum State : unsigned char { Undecodable = 1, NodeHeard = 2, DeliveryFailed = 3, NothingHeard = 0xFF };

    std::optional<QByteArray> TakeReport(quint8 number, bool delivered);
    void Book(const QByteArray& uin, bool delivered);

    const Match match;
    QList<QByteArray> awaitingAck;
    NumberedReports numbered;
    QHash<QByteArray, unsigned char> meterState;
};
