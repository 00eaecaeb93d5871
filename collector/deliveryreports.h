#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>

#include <optional>

/// What is known of each node in the current sweep, from the modem's reports on the messages that were sent and from
/// what the node sends itself.
class DeliveryReports final {
public:
    /// A message went out to `uin`: the modem reports on it later.
    void Sent(const QByteArray& uin) { awaitingAck.append(uin); }

    /// The modem has reported on a message. The report counts for the oldest message that has none yet; its number is
    /// not used. Returns the node of that message; none when no message waits for a report.
    std::optional<QByteArray> Acknowledged() { return TakeReport(NodeHeard); }
    std::optional<QByteArray> Refused() { return TakeReport(DeliveryFailed); }

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

    std::optional<QByteArray> TakeReport(State state)
    {
        if (awaitingAck.isEmpty())
            return std::nullopt;
        const QByteArray uin = awaitingAck.takeFirst();
        meterState[uin] = state;
        return uin;
    }

    QList<QByteArray> awaitingAck;
    QHash<QByteArray, unsigned char> meterState;
};
