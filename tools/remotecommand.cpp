// Has the daemon do something, through the hub.

#include "remotecommand.h"

#include "hubcommand.h"
#include "likely.h"
#include "setupquestions.h"
#include "terminaltext.h"
#include "texts.h"

#include <QJsonArray>

#include <algorithm>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// A command as the hub describes it.
struct Described {
    QString name;
    QString argument; ///< "none", "uin" or "bytes"
    QString about;
    bool stops = false; ///< the daemon ends
};

/// None after the reason was told.
std::optional<QList<Described>> AskForCommands(const HubClient& hub, const QString& controller)
{
    const HubAnswer answer = hub.Get(HubCommand::Target(u"/api/commands"_s, controller));
    if (!answer.problem.isEmpty()) {
        Complain(TerminalText::OfLine(answer.problem));
        return std::nullopt;
    }
    QList<Described> commands;
    for (const QJsonValue value : answer.body[u"commands"_s].toArray())
        commands.append({value[u"name"_s].toString(), value[u"argument"_s].toString(), value[u"about"_s].toString(),
            value[u"stops"_s].toBool()});
    return commands;
}

QString ArgumentWord(const Described& command)
{
    return command.argument == "none"_L1 ? QString() : u' ' + command.argument.toUpper();
}

void TellList(const QList<Described>& commands, bool asJson)
{
    QJsonArray array;
    for (const Described& command : commands)
        if (asJson)
            array.append(QJsonObject{{u"name"_s, command.name}, {u"argument"_s, command.argument},
                {u"about"_s, command.about}, {u"stops"_s, command.stops}});
        else
            Tell(TerminalText::OfLine((command.name + ArgumentWord(command)).leftJustified(28) + u' ' + command.about));
    if (asJson)
        Tell(TerminalText::OfJson({{u"commands"_s, array}}, TerminalText::Json::Indented));
}

bool IsHex(QStringView text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return u"0123456789abcdefABCDEF"_s.contains(c); });
}

/// Why `given` is no argument of the command; empty when it is.
QString ArgumentProblem(const Described& command, const QString& given)
{
    constexpr qsizetype UinSize = 16;
    if (command.argument == "none"_L1)
        return given.isEmpty() ? QString() : Texts::tr("%1 takes no argument.").arg(command.name);
    if (command.argument == "uin"_L1)
        return given.size() == UinSize && IsHex(given)
            ? QString()
            : Texts::tr("%1 takes a node's UIN, 16 hexadecimal digits.").arg(command.name);
    const QString digits = QString(given).remove(u' ');
    return command.argument != "bytes"_L1 || (!digits.isEmpty() && digits.size() % 2 == 0 && IsHex(digits))
        ? QString()
        : Texts::tr("%1 takes bytes, two hexadecimal digits each, as \"61 74 69 0d\".").arg(command.name);
}

/// None when there is no such command; the reason was told.
std::optional<Described> Find(const QList<Described>& commands, const QString& name)
{
    QStringList names;
    for (const Described& command : commands) {
        if (command.name == name)
            return command;
        names.append(command.name);
    }
    const QString likely = LikelyOf(names, name);
    Complain(Texts::tr("The daemon has no command \"%1\"; --list tells them.").arg(name)
        + (likely.isEmpty() ? QString() : u' ' + Texts::tr("Is \"%1\" meant?").arg(likely)));
    return std::nullopt;
}

/// Changes what a person may not want changed.
bool IsGrave(const Described& command)
{
    return command.stops || command.name == "Reset_KS"_L1 || command.name == "Write_direct_in_port"_L1;
}

/// Whoever stops or resets something is to be sure of it.
bool IsConfirmed(const Described& command)
{
    if (::isatty(STDIN_FILENO) == 0) {
        Complain(Texts::tr("%1 can stop or reset something: --yes confirms it.").arg(command.name));
        return false;
    }
    Tell(TerminalText::OfLine(command.about));
    const std::optional<QString> answer = SetupQuestions::Ask(Texts::tr("Go on? yes or no"), Texts::tr("no"));
    return answer && (*answer == "yes"_L1 || *answer == Texts::tr("yes"));
}

void TellReply(const HubAnswer& answer, bool asJson)
{
    if (asJson) {
        Tell(TerminalText::OfJson(answer.body, TerminalText::Json::Indented));
        return;
    }
    const QJsonValue reply = answer.body[u"reply"_s];
    if (answer.body[u"sent"_s].toBool())
        Tell(Texts::tr("Sent; the daemon does not answer to it."));
    else if (reply.isString())
        Tell(TerminalText::OfLines(reply.toString()));
    else if (!reply.isArray())
        Tell(TerminalText::OfJson(answer.body, TerminalText::Json::Indented));
    for (const QJsonValue text : reply.toArray())
        Tell(TerminalText::OfLine(text.toString()));
}

int Send(const HubClient& hub, const QString& controller, const QString& name, const CommandLine& line)
{
    const auto commands = AskForCommands(hub, controller);
    if (!commands)
        return Problems;
    const bool asJson = line.HasFlag(u"json"_s);
    if (line.HasFlag(u"list"_s)) {
        TellList(*commands, asJson);
        return Done;
    }
    const std::optional<Described> command = Find(*commands, name);
    if (!command)
        return WrongUsage;
    const QString argument = line.Argument();
    if (const QString problem = ArgumentProblem(*command, argument); !problem.isEmpty()) {
        Complain(problem);
        return WrongUsage;
    }
    if (IsGrave(*command) && !line.HasFlag(u"yes"_s) && !IsConfirmed(*command))
        return WrongUsage;
    const HubAnswer answer = hub.Post(HubCommand::Target(u"/api/commands/"_s + command->name, controller),
        argument.isEmpty() ? QJsonObject() : QJsonObject{{u"argument"_s, argument}});
    if (!answer.problem.isEmpty())
        return ComplainOfAll({TerminalText::OfLine(answer.problem)});
    TellReply(answer, asJson);
    return Done;
}

} // namespace

int RunRemoteCommand(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Has the daemon do something, through the hub. --list tells the commands that there are.\nExit code: "
                  "0 it was sent, or answered; 1 the hub or the daemon is away, or does not answer; 2 wrong\nusage, or "
                  "not confirmed."),
        CommandLine::Takes::NameAndArgument);
    HubCommand::AddOptions(line);
    line.AddFlag(u"list"_s, Texts::tr("Tells the commands, what they take and what they do."));
    line.AddFlag(u"yes"_s, Texts::tr("Does not ask before something is stopped or reset."));
    line.AddFlag(u"json"_s, Texts::tr("Tells the answer as one JSON object on stdout."));
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const QString name = line.Name();
    if (name.isEmpty() && !line.HasFlag(u"list"_s)) {
        Complain(Texts::tr("The name of a command is missing; --list tells them."));
        return WrongUsage;
    }
    const std::optional<QString> controller = HubCommand::Controller(line);
    return controller ? Send(HubCommand::Client(line), *controller, name, line) : static_cast<int>(Problems);
}
