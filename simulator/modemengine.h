#pragma once

#include "radionode.h"
#include "wire.h"

#include <QList>

#include <functional>
#include <map>
#include <memory>
#include <random>

/// How a simulated modem and its air behave. Probabilities are 0 to 1.
struct ModemTraits {
    QByteArray uin = "000D6F0000000001";
    QByteArray version = "123"; ///< three characters
    quint32 seed = 1; ///< the same seed and the same input give the same output
    int baud = 19200; ///< of the line to the daemon, both ways; 0: no limit

    Moment bootTime = std::chrono::milliseconds(500); ///< after a reset it neither hears nor answers
    Moment answerTime = std::chrono::milliseconds(20); ///< from a command to its answer
    Moment latency = std::chrono::milliseconds(150); ///< to a node, and to the modem's report of it
    Moment scanInterval = std::chrono::milliseconds(50); ///< between two nodes of a scan

    double nack = 0; ///< a unicast does not reach its node, and the modem says so
    double loss = 0; ///< a broadcast to one node, or one piece of an answer, is lost without a report
    double garbage = 0; ///< a line comes with up to 16 random bytes before it
    double fragmentation = 0; ///< a line is cut at a random place...
    Moment fragmentPause = std::chrono::milliseconds(700); ///< ...and goes on after this
};

/// What a simulated modem has done so far.
struct ModemTally {
    qint64 linesReceived = 0;
    qint64 linesAnswered = 0; ///< with OK and what belongs to it
    qint64 linesRefused = 0; ///< with ERROR
    qint64 linesLost = 0; ///< came while the modem started
    qint64 unicastsDelivered = 0;
    qint64 unicastsNotDelivered = 0;
    qint64 answersPassedOn = 0; ///< pieces of nodes' answers
    qint64 messagesLost = 0; ///< by the air, see ModemTraits::loss
};

/// The protocol of the radio modem: command lines in, answer lines out, with the nodes it reaches.
class ModemEngine final : public LinePeer {
public:
    explicit ModemEngine(ModemTraits modemTraits = {});

    /// A node of the network from now on. `kind` is its line in a scan: "FFD:", "COO:" or "SED:". A node that is there
    /// already keeps its place and takes the new kind and behaviour.
    void AddNode(const QByteArray& uin, const QByteArray& kind, std::unique_ptr<RadioNode> node);

    /// A node that joins the network at `when`, and is announced.
    void JoinNode(const QByteArray& uin, const QByteArray& kind, std::unique_ptr<RadioNode> node, Moment when);

    /// The node `uin` speaks: in answer to what reached it at `now`, or by itself.
    void SendFrom(const QByteArray& uin, const NodeAnswer& answer, Moment now);

    void Receive(const QByteArray& bytes, Moment now) override;
    [[nodiscard]] std::optional<Moment> NextDue() const override;
    [[nodiscard]] QByteArray Take(Moment now) override;

    [[nodiscard]] const ModemTally& Tally() const { return tally; }

    /// The largest payload of one radio message; longer answers come in several.
    static constexpr qsizetype RadioPayload = 72;

private:
    struct Node {
        QByteArray uin;
        QByteArray kind;
        std::shared_ptr<RadioNode> behaviour;
    };
    struct Command;
    static const std::array<Command, 8> Commands;

    void ReceiveByte(char byte, Moment now);
    void Execute(Moment now);
    [[nodiscard]] const Command* FindCommand() const;

    // Commands. `argument` is what follows the name, `payload` what follows the line.
    void Restart(const QByteArray& argument, Moment now);
    void Identify(const QByteArray& argument, Moment now);
    void Agree(const QByteArray& argument, Moment now);
    void Scan(const QByteArray& argument, Moment now);
    void Unicast(const QByteArray& argument, Moment now);
    void Broadcast(const QByteArray& argument, Moment now);
    void WriteRemoteRegister(const QByteArray& argument, Moment now);

    void Deliver(const Node& node, const QByteArray& message, Moment now);
    [[nodiscard]] bool PassOn(const QByteArray& uin, const QByteArray& answer, Moment now);
    void Refuse(const QByteArray& code, Moment now);
    void Say(const QByteArray& text, Moment when);
    bool SendLine(QByteArray line, Moment now); // whether in one piece
    void At(Moment when, std::function<void(Moment)> what);
    [[nodiscard]] const Node* FindNode(const QByteArray& uin) const;
    [[nodiscard]] bool Happens(double probability);
    [[nodiscard]] qsizetype Below(qsizetype limit);

    const ModemTraits traits;
    ModemTally tally;
    std::mt19937 random;
    QList<Node> nodes;

    QByteArray line;
    QByteArray payload;
    qsizetype payloadMissing = 0;
    Moment inputFree{0};
    Moment readyAt{0};
    int sendNumber = 0;

    std::multimap<Moment, std::function<void(Moment)>> agenda;
    Wire wire;
};
