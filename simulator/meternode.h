#pragma once

#include "answerreport.h"
#include "radionode.h"
#include "registeredmeter.h"
#include "virtualmeter.h"

#include <optional>
#include <random>

/// What is spoiled in an answer. A CE301's wrong checksum and the clock of a SET1, which has none, can still be read.
enum class Flaw { None, Checksum, Garbage, Half };
[[nodiscard]] QByteArray FlawName(Flaw flaw);

/// What goes wrong at one node.
struct NodeFaults {
    bool silent = false; ///< hears, but never answers
    QList<Span> silences; ///< the same for a while
    RegisterFaults registers;
    int every = 1; ///< answers only each n-th read-out
    Moment late{0}; ///< answers that much later
    Flaw undecodable = Flaw::None; ///< its answers are damaged
    int pieces = 1; ///< an answer comes in so many unicasts
    bool glued = false; ///< an answer comes twice in one unicast
    double nack = 0; ///< the probability that the modem does not reach it
    std::optional<int> hops; ///< see AirTraits::hops
    QList<QDateTime> alarms; ///< its meter's case is opened, local time
    std::optional<double> driftPpm; ///< instead of Conditions::driftPpm
};

/// A radio node with a meter wired to it. It keeps the answer to the last thing it asked its meter, for one read-out:
/// what was read out is gone, so that no reading comes twice. A meter that does not understand a request leaves the
/// node without an answer.
class MeterNode final : public RadioNode {
public:
    /// `answerReport` must outlive everything that the node sends.
    MeterNode(
        RegisteredMeter meter, const NodeFaults& faults, const Conditions& conditions, AnswerReport& answerReport);

    [[nodiscard]] bool Reachable() override;
    [[nodiscard]] QList<NodeAnswer> Receive(const QByteArray& frame, Moment now) override;

    /// What the node sends by itself, to be sent at Moment 0. An alarm that is over at the beginning is left out.
    [[nodiscard]] QList<NodeAnswer> Alarms() const;

    /// From a read-out to the first piece of the answer, and from piece to piece.
    static constexpr Moment AnswerTime = std::chrono::milliseconds(200);
    static constexpr Moment PieceInterval = std::chrono::milliseconds(700);

private:
    struct Held {
        QByteArray answer;
        ReportedAnswer reported;
    };
    struct Command;
    static const std::array<Command, 6> Commands;

    // Commands. `argument` is what follows the command byte.
    void Measure(const QByteArray& argument, const QDateTime& now);
    void PassThrough(const QByteArray& argument, const QDateTime& now);
    void SetClock(const QByteArray& argument, const QDateTime& now);
    void LearnCollector(const QByteArray& argument, const QDateTime& now);
    void LearnKINumber(const QByteArray& argument, const QDateTime& now);
    void LearnNumber(const QByteArray& argument, const QDateTime& now);

    [[nodiscard]] QList<NodeAnswer> ReadOut(const QDateTime& now);
    [[nodiscard]] MeterAnswers::Checksum Sum() const;
    void Hold(const QByteArray& answer, const QByteArray& kind, const QByteArray& values);
    [[nodiscard]] std::function<void(Moment, Passage)> Account(
        const ReportedAnswer& answer, int pieces, int copies) const;

    const RegisteredMeter meter;
    const NodeFaults faults;
    const QDateTime begin;
    AnswerReport& report;
    std::mt19937 random;
    VirtualMeter virtualMeter;
    std::optional<Held> held;
    int readOuts = 0;
};
