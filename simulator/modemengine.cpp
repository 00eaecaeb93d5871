#include "modemengine.h"

#include "chance.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// What the modem answers behind "ERROR:".
constexpr auto NoSuchNode = "01";
constexpr auto NoSuchCommand = "02";
constexpr auto BadParameter = "05";
constexpr auto TooManyOnTheirWay = "07";
constexpr auto NoNetwork = "08";

QByteArray TwoDecimals(int number)
{
    return QByteArray::number(number).rightJustified(2, '0');
}

QByteArray TwoHexDigits(qsizetype number)
{
    return QByteArray::number(number, 16).rightJustified(2, '0').toUpper();
}

} // namespace

// `name` is compared in lower case. One that ends in ":" has an argument.
struct ModemEngine::Command {
    QByteArrayView name;
    void (ModemEngine::*run)(const QByteArray& argument, const QByteArray& payload, Moment now);

    [[nodiscard]] bool Fits(const QByteArray& lower) const
    {
        return name.endsWith(':') ? lower.startsWith(name) : lower == name;
    }
};

constexpr std::array<ModemEngine::Command, 8> ModemEngine::Commands{{
    {"atz", &ModemEngine::Restart},
    {"ati", &ModemEngine::Identify},
    {"at+jn", &ModemEngine::Join},
    {"at+en", &ModemEngine::Enter},
    {"at+sn", &ModemEngine::Scan},
    {UnicastCommand, &ModemEngine::Unicast},
    {BroadcastCommand, &ModemEngine::Broadcast},
    {"atrems:", &ModemEngine::WriteRemoteRegister},
}};

ModemEngine::ModemEngine(ModemTraits modemTraits)
    : traits(std::move(modemTraits)),
      random(traits.seed),
      air(traits.air, traits.latency, traits.seed),
      faults(traits.faults, traits.seed),
      output(traits, random)
{
    faults.Schedule(
        agenda, [this](Moment now) { CutPower(now); }, [this](Moment) { GoDeaf(); });
}

void ModemEngine::AddNode(const QByteArray& uin, const QByteArray& kind, std::unique_ptr<RadioNode> node)
{
    const auto known = std::find_if(nodes.begin(), nodes.end(), [&](const Node& other) { return other.uin == uin; });
    if (known == nodes.end())
        nodes.append({uin, kind, std::move(node)});
    else
        *known = {uin, kind, std::move(node)};
}

void ModemEngine::JoinNode(const QByteArray& uin, const QByteArray& kind, std::unique_ptr<RadioNode> node, Moment when)
{
    agenda.At(
        when, [this, uin, kind, shared = std::make_shared<std::unique_ptr<RadioNode>>(std::move(node))](Moment now) {
            AddNode(uin, kind, std::move(*shared));
            if (faults.OnNetwork())
                SendLine("NEWNODE: " + uin, now);
        });
}

void ModemEngine::Receive(const QByteArray& bytes, Moment now)
{
    inputFree = std::max(inputFree, now);
    const Moment begin = inputFree;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        inputFree = begin + output.Line().Duration(i + 1);
        ReceiveByte(bytes.at(i), inputFree);
    }
}

void ModemEngine::ReceiveByte(char byte, Moment now)
{
    if (now < readyAt) {
        tally.linesLost += byte == '\r' ? 1 : 0;
        return;
    }
    if (const std::optional<ReceivedCommand> received = reader.Take(byte))
        Execute(*received, now);
}

void ModemEngine::Execute(const ReceivedCommand& received, Moment now)
{
    ++tally.linesReceived;
    const auto command = std::find_if(Commands.cbegin(), Commands.cend(),
        [lower = received.line.toLower()](const Command& candidate) { return candidate.Fits(lower); });
    const bool known = command != Commands.cend();
    if (faults.IsDeaf() && !(known && command->run == &ModemEngine::Restart))
        ++tally.linesIgnored;
    else if (known)
        (this->*command->run)(received.line.mid(command->name.size()), received.payload, now + traits.answerTime);
    else
        Refuse(NoSuchCommand, now + traits.answerTime);
}

void ModemEngine::Restart(const QByteArray&, const QByteArray&, Moment now)
{
    readyAt = now - traits.answerTime + traits.bootTime;
    sendNumber = 0;
    if (faults.IsDeaf())
        air.ForgetAll();
    faults.Restart();
    Agree(std::max(now, readyAt));
}

void ModemEngine::Identify(const QByteArray&, const QByteArray&, Moment now)
{
    ++tally.linesAnswered;
    InThisLife(now, [this](Moment then) {
        if (!faults.IsDeaf())
            output.SendRaw("\r\nR" + traits.version + "X\r\n" + traits.uin + "\r\nOK\r\n", then);
    });
}

void ModemEngine::Join(const QByteArray&, const QByteArray&, Moment now)
{
    faults.Join();
    Agree(now);
}

void ModemEngine::Enter(const QByteArray&, const QByteArray&, Moment now)
{
    faults.Enter();
    Agree(now);
}

void ModemEngine::Scan(const QByteArray&, const QByteArray&, Moment now)
{
    Agree(now);
    if (!faults.OnNetwork())
        return;
    for (const Node& node : std::as_const(nodes))
        Say(node.kind + node.uin, now += traits.scanInterval);
}

// A unicast that the modem has taken.
struct ModemEngine::Sent {
    QByteArray number;
    QByteArray uin;
    QByteArray message;
    Moment taken;
};

// "LL,UIN"
void ModemEngine::Unicast(const QByteArray& argument, const QByteArray& payload, Moment now)
{
    if (!IsMessageArgument(argument, 16)) {
        Refuse(BadParameter, now);
        return;
    }
    if (!faults.OnNetwork()) {
        Refuse(NoNetwork, now);
        return;
    }
    if (!air.Take()) {
        ++tally.refusedByLimit;
        Refuse(TooManyOnTheirWay, now);
        return;
    }
    const Sent unicast{TwoDecimals(sendNumber), argument.mid(3), payload, now};
    sendNumber = (sendNumber + 1) % 100;
    Say("+UCASTB:" + unicast.number, now);
    Agree(now);
    InThisLife(now + air.WayTo(unicast.uin), [this, unicast](Moment then) { Arrive(unicast, then); });
}

void ModemEngine::Arrive(const Sent& unicast, Moment now)
{
    const Node* const node = FindNode(unicast.uin);
    const bool reached = node && node->behaviour->Reachable() && !Happens(traits.nack, random);
    ++(reached ? tally.unicastsDelivered : tally.unicastsNotDelivered);
    Report((reached ? "ACK:" : "NACK:") + unicast.number, air.ReportTime(unicast.uin, reached, unicast.taken, now));
    if (reached)
        Deliver(*node, unicast.message, now);
}

void ModemEngine::Report(const QByteArray& text, Moment when)
{
    using Fate = AirPath::ReportFate;
    const Fate fate = air.NextReport();
    InThisLife(when + (fate == Fate::Late ? air.ReportDelay() : Moment(0)), [this, text, fate](Moment now) {
        air.Reported();
        tally.reportsLate += fate == Fate::Late ? 1 : 0;
        tally.reportsLost += fate == Fate::Lost ? 1 : 0;
        if (fate != Fate::Lost)
            SendLine(text, now);
    });
}

// "LL,00"
void ModemEngine::Broadcast(const QByteArray& argument, const QByteArray& payload, Moment now)
{
    if (!IsMessageArgument(argument, 2)) {
        Refuse(BadParameter, now);
        return;
    }
    Agree(now);
    if (!faults.OnNetwork())
        return;
    if (!air.HasHops()) {
        InThisLife(now + traits.latency, [this, payload](Moment then) {
            for (const Node& node : std::as_const(nodes))
                Reach(node, payload, then);
        });
        return;
    }
    for (const Node& node : std::as_const(nodes))
        InThisLife(now + air.WayTo(node.uin),
            [this, uin = node.uin, payload](Moment then) { Reach(*FindNode(uin), payload, then); });
}

void ModemEngine::Reach(const Node& node, const QByteArray& message, Moment now)
{
    if (Happens(traits.loss, random))
        ++tally.messagesLost;
    else
        Deliver(node, message, now);
}

// "UIN,register=value"
void ModemEngine::WriteRemoteRegister(const QByteArray& argument, const QByteArray&, Moment now)
{
    if (faults.OnNetwork() && FindNode(argument.left(16)))
        Agree(now + traits.latency);
    else
        Refuse(NoSuchNode, now + traits.latency);
}

void ModemEngine::Deliver(const Node& node, const QByteArray& message, Moment now)
{
    for (const NodeAnswer& answer : node.behaviour->Receive(message, now))
        SendFrom(node.uin, answer, now);
}

void ModemEngine::SendFrom(const QByteArray& uin, const NodeAnswer& answer, Moment now)
{
    agenda.At(now + answer.delay + air.WayBack(uin), [this, uin, answer](Moment then) {
        const Passage passage = PassOn(uin, answer.payload, then);
        if (answer.passedOn)
            Account(answer, passage, then);
    });
}

Passage ModemEngine::PassOn(const QByteArray& uin, const QByteArray& answer, Moment now)
{
    if (const Passage lost = faults.OfAnswer(); lost != Passage::Whole)
        return lost;
    bool whole = true;
    for (qsizetype i = 0; i < answer.size(); i += RadioPayload) {
        if (Happens(traits.loss, random)) {
            ++tally.messagesLost;
            whole = false;
            continue;
        }
        const QByteArray piece = answer.mid(i, RadioPayload);
        ++tally.answersPassedOn;
        whole = SendLine("UCAST:" + uin + ',' + TwoHexDigits(piece.size()) + '=' + piece, now) && whole;
    }
    return whole ? Passage::Whole : Passage::Spoiled;
}

// A modem whose power may go has not passed on what is still on the line.
void ModemEngine::Account(const NodeAnswer& answer, Passage passage, Moment now)
{
    if (!traits.faults.AnyOn()) {
        answer.passedOn(now, passage);
        return;
    }
    agenda.At(std::max(now, output.Line().Through()), [this, answer, passage, cuts = tally.powerCuts](Moment then) {
        const bool away = passage == Passage::Whole && cuts != tally.powerCuts;
        answer.passedOn(then, away ? Passage::ModemAway : passage);
    });
}

void ModemEngine::CutPower(Moment now)
{
    ++tally.powerCuts;
    faults.CutPower();
    air.ForgetAll();
    output.Line().Cut(now);
    reader.Forget();
    sendNumber = 0;
    readyAt = now + traits.bootTime;
}

void ModemEngine::GoDeaf()
{
    tally.timesDeaf += faults.GoDeaf() ? 1 : 0;
}

void ModemEngine::Agree(Moment now)
{
    ++tally.linesAnswered;
    Say("OK", now);
}

void ModemEngine::Refuse(const QByteArray& code, Moment now)
{
    ++tally.linesRefused;
    Say("ERROR:" + code, now);
}

void ModemEngine::Say(const QByteArray& text, Moment when)
{
    InThisLife(when, [this, text](Moment now) { SendLine(text, now); });
}

bool ModemEngine::SendLine(const QByteArray& text, Moment now)
{
    return now >= readyAt && !faults.IsDeaf() && output.SendLine(text, now);
}

void ModemEngine::InThisLife(Moment when, Agenda::Task task)
{
    agenda.At(when, [this, task = std::move(task), life = faults.Life()](Moment now) {
        if (life == faults.Life())
            task(now);
    });
}

std::optional<Moment> ModemEngine::NextDue() const
{
    const std::optional<Moment> write = output.Line().NextDue();
    const std::optional<Moment> task = agenda.NextDue();
    return write && task ? std::min(*write, *task) : write ? write : task;
}

QByteArray ModemEngine::Take(Moment now)
{
    agenda.Run(now);
    return output.Line().Take(now);
}

const ModemEngine::Node* ModemEngine::FindNode(const QByteArray& uin) const
{
    const auto found = std::find_if(nodes.cbegin(), nodes.cend(), [&](const Node& node) { return node.uin == uin; });
    return found == nodes.cend() ? nullptr : &*found;
}
