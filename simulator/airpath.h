#pragma once

#include "linepeer.h"

#include <map>
#include <optional>
#include <random>

inline constexpr int MostHops = 5;

/// How far the nodes are from the modem, and what becomes of its delivery reports. All off by default: every node is as
/// far as ModemTraits::latency says, answers take no time on their way, and no report is lost. Probabilities are 0
/// to 1.
struct AirTraits {
    int mostHops = 0; ///< a node is one to so many hops away, at most MostHops, drawn from the seed; 0: no hops
    std::map<QByteArray, int> hops = {}; ///< by UIN: so many instead; counts where `mostHops` is set
    int mostOnTheirWay = 0; ///< unicasts accepted and not yet reported; one more is refused. 0: any number
    double reportLoss = 0; ///< a delivery report never comes
    double reportLate = 0; ///< a delivery report comes late...
    Moment reportDelay = std::chrono::seconds(5); ///< ...by this
    std::optional<Moment> nackTime = {}; ///< from a unicast that reaches nobody to its report; none: as any other's

    [[nodiscard]] bool AnyOn() const;
};

/// The radio between the modem and its nodes: ways, and unicasts that are on them. It draws from a generator of its
/// own, so that the faults that do not belong to it stay the same.
class AirPath final {
public:
    /// `latency` is the way to each node when there are no hops.
    AirPath(AirTraits airTraits, Moment latency, quint32 seed);

    [[nodiscard]] bool HasHops() const { return traits.mostHops > 0; }

    /// The time that one message takes to the node. Each hop takes 20 to 60 ms, another time for each message.
    [[nodiscard]] Moment WayTo(const QByteArray& uin);

    /// From the node to the modem: 0 without hops.
    [[nodiscard]] Moment WayBack(const QByteArray& uin);

    /// When the modem can report what became of a unicast to `uin` that it took at `taken` and that was, or would have
    /// been, at its node by `arrived`.
    [[nodiscard]] Moment ReportTime(const QByteArray& uin, bool reached, Moment taken, Moment arrived);

    enum class ReportFate { Comes, Late, Lost };
    [[nodiscard]] ReportFate NextReport();
    [[nodiscard]] Moment ReportDelay() const { return traits.reportDelay; }

    /// One more unicast is on its way. False: the limit is reached.
    [[nodiscard]] bool Take();
    void Reported() { --onTheirWay; }
    void ForgetAll() { onTheirWay = 0; }

private:
    [[nodiscard]] Moment Way(const QByteArray& uin);
    [[nodiscard]] int HopsTo(const QByteArray& uin) const;

    const AirTraits traits;
    const Moment fixedLatency;
    const quint32 seed;
    std::mt19937 random;
    int onTheirWay = 0;
};
