#pragma once

#include "agenda.h"
#include "commandreader.h"
#include "modemtraits.h"
#include "noisyline.h"
#include "radionode.h"

#include <QList>

#include <memory>

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

    [[nodiscard]] const ModemTraits& Traits() const { return traits; }
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
    struct Sent;

    void ReceiveByte(char byte, Moment now);
    void Execute(const ReceivedCommand& received, Moment now);

    // Commands. `argument` is what follows the name, `payload` what follows the line.
    void Restart(const QByteArray& argument, const QByteArray& payload, Moment now);
    void Identify(const QByteArray& argument, const QByteArray& payload, Moment now);
    void Join(const QByteArray& argument, const QByteArray& payload, Moment now);
    void Enter(const QByteArray& argument, const QByteArray& payload, Moment now);
    void Scan(const QByteArray& argument, const QByteArray& payload, Moment now);
    void Unicast(const QByteArray& argument, const QByteArray& payload, Moment now);
    void Broadcast(const QByteArray& argument, const QByteArray& payload, Moment now);
    void WriteRemoteRegister(const QByteArray& argument, const QByteArray& payload, Moment now);

    void Arrive(const Sent& unicast, Moment now);
    void Report(const QByteArray& text, Moment when);
    void Reach(const Node& node, const QByteArray& message, Moment now);
    void Deliver(const Node& node, const QByteArray& message, Moment now);
    [[nodiscard]] Passage PassOn(const QByteArray& uin, const QByteArray& answer, Moment now);
    void Account(const NodeAnswer& answer, Passage passage, Moment now);

    void CutPower(Moment now);
    void GoDeaf();

    void Agree(Moment now);
    void Refuse(const QByteArray& code, Moment now);
    void Say(const QByteArray& text, Moment when);
    bool SendLine(const QByteArray& text, Moment now); // whether in one piece
    void InThisLife(Moment when, Agenda::Task task); // not if the modem forgets everything before
    [[nodiscard]] const Node* FindNode(const QByteArray& uin) const;

    const ModemTraits traits;
    ModemTally tally;
    std::mt19937 random;
    QList<Node> nodes;

    CommandReader reader;
    Moment inputFree{0};
    Moment readyAt{0};
    int sendNumber = 0;

    Agenda agenda;
    AirPath air;
    ModemFaults faults;
    NoisyLine output;
};
