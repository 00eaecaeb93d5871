// Shows what happens on a controller, as it happens, until somebody has enough of it. The hub and the daemon may come
// and go meanwhile: behind the last event that was seen it goes on.

#include "watchcommand.h"

#include "eventwords.h"
#include "hubcommand.h"
#include "interruption.h"
#include "recorder.h"
#include "terminaltext.h"
#include "texts.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cstdio>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

class Watch final {
public:
    Watch(const CommandLine& line, QString target_);

    /// Asks whose events there are; makes the recording, if one was asked for. False: the reason was told.
    [[nodiscard]] bool Begin(const QString& controller);

    /// An exit code.
    [[nodiscard]] int Run();

private:
    void Show(const HubEvent& event);
    void ShowAsJson(const HubEvent& event, const QJsonObject& data);
    void Record(const QJsonObject& data);
    void TellOpen();
    void TellLost(const QString& problem);

    const HubClient hub;
    const QString target;
    const bool asJson;
    bool withController = false; ///< several are seen
    const Interruption interruption;
    std::unique_ptr<Recorder> recorder;
    QByteArray lastId;
    bool isLost = false;
    bool wasOpen = false;
};

Watch::Watch(const CommandLine& line, QString target_)
    : hub(HubCommand::Client(line)),
      target(std::move(target_)),
      asJson(line.HasFlag(u"json"_s))
{
    if (const QString file = line.Option(u"record"_s); !file.isEmpty())
        recorder = std::make_unique<Recorder>(file);
}

bool Watch::Begin(const QString& controller)
{
    const HubAnswer status = hub.Get(HubCommand::Target(u"/api/status"_s, controller));
    withController = controller.isEmpty() && status.body[u"controllers"_s].toArray().size() > 1;
    if (status.problem.isEmpty() && (!recorder || recorder->Begin()))
        return true;
    Complain(TerminalText::OfLine(status.problem.isEmpty() ? recorder->Problem() : status.problem));
    return false;
}

int Watch::Run()
{
    constexpr int PauseMs = 1000;
    do {
        QString problem;
        const HubClient::StreamEnd end = hub.Follow(
            target, lastId, interruption, [this] { TellOpen(); }, [this](const HubEvent& event) { Show(event); },
            problem);
        if (end == HubClient::StreamEnd::Interrupted)
            return Done;
        if (end == HubClient::StreamEnd::Refused || !wasOpen) {
            Complain(TerminalText::OfLine(problem));
            return Problems;
        }
        TellLost(problem);
    } while (!interruption.ComesWithin(PauseMs));
    return Done;
}

void Watch::TellOpen()
{
    wasOpen = true;
    if (std::exchange(isLost, false))
        Complain(Texts::tr("The hub answers again."));
}

void Watch::TellLost(const QString& problem)
{
    if (!std::exchange(isLost, true))
        Complain(TerminalText::OfLine(problem) + u' ' + Texts::tr("It is tried again every second."));
}

void Watch::Show(const HubEvent& event)
{
    if (!event.id.isEmpty())
        lastId = event.id;
    const QJsonObject data = QJsonDocument::fromJson(event.data).object();
    if (event.kind == "traffic" && recorder)
        Record(data);
    if (asJson)
        ShowAsJson(event, data);
    else
        for (const QString& line : EventWords(QString::fromUtf8(event.kind), data, withController))
            Tell(line);
    std::fflush(stdout);
}

void Watch::ShowAsJson(const HubEvent& event, const QJsonObject& data)
{
    QJsonObject object = data;
    object[u"id"_s] = QString::fromUtf8(event.id);
    object[u"kind"_s] = QString::fromUtf8(event.kind);
    Tell(TerminalText::OfJson(object, TerminalText::Json::OneLine));
}

void Watch::Record(const QJsonObject& data)
{
    if (recorder->Take(data))
        return;
    Complain(recorder->Problem() + u' ' + Texts::tr("The recording ends here."));
    recorder.reset();
}

/// "kinds=..."; what is to be recorded is among them.
QString KindsQuery(const CommandLine& line)
{
    QStringList kinds = line.Option(u"kinds"_s).split(u',', Qt::SkipEmptyParts);
    if (!kinds.isEmpty() && !line.Option(u"record"_s).isEmpty() && !kinds.contains(u"traffic"_s))
        kinds.append(u"traffic"_s);
    return kinds.isEmpty() ? QString() : u"kinds="_s + kinds.join(u',');
}

} // namespace

int RunWatch(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Shows as it happens what the hub sees: the modem's traffic with what the meters answer, what the "
                  "daemon\ndoes, sweeps, incidents, alarms. Goes on when the hub or the daemon was away. Ends with "
                  "Ctrl-C.\nExit code: 0 it was ended, 1 the hub cannot be asked, 2 wrong usage."),
        CommandLine::Takes::Nothing);
    HubCommand::AddOptions(line);
    line.AddOption(u"kinds"_s, Texts::tr("kinds"),
        Texts::tr("Only these, with commas between them: traffic, log, sweep, incident, alarm, link, command."), {});
    line.AddOption(u"record"_s, Texts::tr("file"),
        Texts::tr("Writes what the modem sends into this new file, too; ravelin-sim --replay plays it."), {});
    line.AddFlag(u"json"_s, Texts::tr("Tells each event as a JSON object in a line of its own."));
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const std::optional<QString> controller = HubCommand::Controller(line);
    if (!controller)
        return Problems;
    Watch watch(line, HubCommand::Target(u"/api/events"_s, *controller, KindsQuery(line)));
    return watch.Begin(*controller) ? watch.Run() : static_cast<int>(Problems);
}
