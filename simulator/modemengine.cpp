#include "modemengine.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LongestLine = 256;

constexpr auto NoSuchNode = "01";
constexpr auto NoSuchCommand = "02";
constexpr auto BadParameter = "05";

QByteArray TwoDecimals(int number)
{
    return QByteArray::number(number).rightJustified(2, '0');
}

QByteArray TwoHexDigits(qsizetype number)
{
    return QByteArray::number(number, 16).rightJustified(2, '0').toUpper();
}

// How many raw bytes follow a line with this argument.
std::optional<qsizetype> MessageLength(const QByteArray& argument)
{
    bool isNumber = false;
    const qsizetype length = argument.left(2).toUShort(&isNumber, 16);
    return isNumber ? std::optional(length) : std::nullopt;
}

// "LL," and an address of `addressSize`.
bool IsMessageArgument(const QByteArray& argument, qsizetype addressSize)
{
    return argument.size() == 3 + addressSize && argument.at(2) == ',' && MessageLength(argument);
}

} // namespace

// `name` is compared in lower case. One that ends in ":" has an argument, and `carriesPayload` says that raw bytes
// follow the line, as many as the argument's first two digits tell.
struct ModemEngine::Command {
    QByteArrayView name;
    bool carriesPayload;
    void (ModemEngine::*run)(const QByteArray& argument, Moment now);
};

constexpr std::array<ModemEngine::Command, 8> ModemEngine::Commands{{
    {"atz", false, &ModemEngine::Restart},
    {"ati", false, &ModemEngine::Identify},
    {"at+jn", false, &ModemEngine::Agree},
    {"at+en", false, &ModemEngine::Agree},
    {"at+sn", false, &ModemEngine::Scan},
    {"at+ucastb:", true, &ModemEngine::Unicast},
    {"at+bcastb:", true, &ModemEngine::Broadcast},
    {"atrems:", false, &ModemEngine::WriteRemoteRegister},
}};

ModemEngine::ModemEngine(ModemTraits modemTraits)
    : traits(std::move(modemTraits)),
      random(traits.seed),
      wire(traits.baud)
{
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
    At(when, [this, uin, kind, shared = std::make_shared<std::unique_ptr<RadioNode>>(std::move(node))](Moment now) {
        AddNode(uin, kind, std::move(*shared));
        SendLine("NEWNODE: " + uin, now);
    });
}

void ModemEngine::Receive(const QByteArray& bytes, Moment now)
{
    inputFree = std::max(inputFree, now);
    const Moment begin = inputFree;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        inputFree = begin + wire.Duration(i + 1);
        ReceiveByte(bytes.at(i), inputFree);
    }
}

void ModemEngine::ReceiveByte(char byte, Moment now)
{
    if (now < readyAt) {
        tally.linesLost += byte == '\r' ? 1 : 0;
        return;
    }
    if (payloadMissing > 0) {
        payload += byte;
        if (--payloadMissing == 0)
            Execute(now);
        return;
    }
    if (byte == '\n' || (byte == '\r' && line.isEmpty()))
        return;
    if (byte != '\r' && line.size() < LongestLine) {
        line += byte;
        return;
    }
    const Command* const command = FindCommand();
    if (command && command->carriesPayload)
        payloadMissing = MessageLength(line.mid(command->name.size())).value_or(0);
    if (payloadMissing == 0)
        Execute(now);
}

const ModemEngine::Command* ModemEngine::FindCommand() const
{
    const QByteArray lower = line.toLower();
    const auto found = std::find_if(Commands.cbegin(), Commands.cend(), [&](const Command& command) {
        return command.name.endsWith(':') ? lower.startsWith(command.name) : lower == command.name;
    });
    return found == Commands.cend() ? nullptr : found;
}

void ModemEngine::Execute(Moment now)
{
    ++tally.linesReceived;
    const Command* const command = FindCommand();
    if (command)
        (this->*command->run)(line.mid(command->name.size()), now + traits.answerTime);
    else
        Refuse(NoSuchCommand, now + traits.answerTime);
    line.clear();
    payload.clear();
}

void ModemEngine::Restart(const QByteArray&, Moment now)
{
    readyAt = now - traits.answerTime + traits.bootTime;
    sendNumber = 0;
    Agree({}, std::max(now, readyAt));
}

void ModemEngine::Identify(const QByteArray&, Moment now)
{
    ++tally.linesAnswered;
    At(now, [this](Moment then) { wire.Send("\r\nR" + traits.version + "X\r\n" + traits.uin + "\r\nOK\r\n", then); });
}

void ModemEngine::Agree(const QByteArray&, Moment now)
{
    ++tally.linesAnswered;
    Say("OK", now);
}

void ModemEngine::Scan(const QByteArray&, Moment now)
{
    Agree({}, now);
    for (const Node& node : std::as_const(nodes))
        Say(node.kind + node.uin, now += traits.scanInterval);
}

// "LL,UIN"
void ModemEngine::Unicast(const QByteArray& argument, Moment now)
{
    if (!IsMessageArgument(argument, 16)) {
        Refuse(BadParameter, now);
        return;
    }
    const QByteArray number = TwoDecimals(sendNumber);
    sendNumber = (sendNumber + 1) % 100;
    Say("+UCASTB:" + number, now);
    Agree({}, now);
    At(now + traits.latency, [this, number, uin = argument.mid(3), message = payload](Moment then) {
        const Node* const node = FindNode(uin);
        if (!node || !node->behaviour->Reachable() || Happens(traits.nack)) {
            ++tally.unicastsNotDelivered;
            Say("NACK:" + number, then);
            return;
        }
        ++tally.unicastsDelivered;
        Say("ACK:" + number, then);
        Deliver(*node, message, then);
    });
}

// "LL,00"
void ModemEngine::Broadcast(const QByteArray& argument, Moment now)
{
    if (!IsMessageArgument(argument, 2)) {
        Refuse(BadParameter, now);
        return;
    }
    Agree({}, now);
    At(now + traits.latency, [this, message = payload](Moment then) {
        for (const Node& node : std::as_const(nodes)) {
            if (Happens(traits.loss))
                ++tally.messagesLost;
            else
                Deliver(node, message, then);
        }
    });
}

// "UIN,register=value"
void ModemEngine::WriteRemoteRegister(const QByteArray& argument, Moment now)
{
    if (FindNode(argument.left(16)))
        Agree({}, now + traits.latency);
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
    At(now + answer.delay, [this, uin, answer](Moment then) {
        const bool whole = PassOn(uin, answer.payload, then);
        if (answer.passedOn)
            answer.passedOn(then, whole);
    });
}

bool ModemEngine::PassOn(const QByteArray& uin, const QByteArray& answer, Moment now)
{
    bool whole = true;
    for (qsizetype i = 0; i < answer.size(); i += RadioPayload) {
        if (Happens(traits.loss)) {
            ++tally.messagesLost;
            whole = false;
            continue;
        }
        const QByteArray piece = answer.mid(i, RadioPayload);
        ++tally.answersPassedOn;
        whole = SendLine("UCAST:" + uin + ',' + TwoHexDigits(piece.size()) + '=' + piece, now) && whole;
    }
    return whole;
}

void ModemEngine::Refuse(const QByteArray& code, Moment now)
{
    ++tally.linesRefused;
    Say("ERROR:" + code, now);
}

void ModemEngine::Say(const QByteArray& text, Moment when)
{
    At(when, [this, text](Moment now) { SendLine(text, now); });
}

bool ModemEngine::SendLine(QByteArray text, Moment now)
{
    if (now < readyAt)
        return false;
    text = "\r\n" + text + "\r\n";
    bool whole = true;
    qsizetype noiseSize = 0;
    if (Happens(traits.garbage)) {
        noiseSize = 1 + Below(16);
        QByteArray noise(noiseSize, Qt::Uninitialized);
        std::generate(noise.begin(), noise.end(), [this] { return static_cast<char>(Below(256)); });
        text.prepend(noise);
    }
    if (Happens(traits.fragmentation)) {
        const qsizetype cut = 1 + Below(text.size() - 1);
        whole = cut <= noiseSize || cut >= text.size() - 2;
        wire.Send(text.left(cut), now);
        wire.Pause(traits.fragmentPause);
        text.remove(0, cut);
    }
    wire.Send(text, now);
    return whole;
}

void ModemEngine::At(Moment when, std::function<void(Moment)> what)
{
    agenda.emplace(when, std::move(what));
}

std::optional<Moment> ModemEngine::NextDue() const
{
    const std::optional<Moment> write = wire.NextDue();
    if (agenda.empty())
        return write;
    return write ? std::min(*write, agenda.begin()->first) : agenda.begin()->first;
}

QByteArray ModemEngine::Take(Moment now)
{
    while (!agenda.empty() && agenda.begin()->first <= now) {
        const auto next = agenda.extract(agenda.begin());
        next.mapped()(next.key());
    }
    return wire.Take(now);
}

const ModemEngine::Node* ModemEngine::FindNode(const QByteArray& uin) const
{
    const auto found = std::find_if(nodes.cbegin(), nodes.cend(), [&](const Node& node) { return node.uin == uin; });
    return found == nodes.cend() ? nullptr : &*found;
}

bool ModemEngine::Happens(double probability)
{
    return probability > 0 && static_cast<double>(random()) < probability * 4294967296.0;
}

qsizetype ModemEngine::Below(qsizetype limit)
{
    return static_cast<qsizetype>(random()) % limit;
}
