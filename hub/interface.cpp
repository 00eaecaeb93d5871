// The interface over HTTP: where it listens, and who answers what.

#include "api.h"
#include "daemoncommands.h"
#include "httpserver.h"
#include "hub.h"
#include "log.h"
#include "necessity.h"
#include "tokenfile.h"

#include <QJsonArray>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

constexpr int AnswerWithinMs = 30000;
constexpr int ListNodesEveryMs = 30 * 60 * 1000;

ApiEvent EventForApi(const EventLog::Event& event)
{
    return {event.id, QByteArray(event.kind.data(), event.kind.size()), event.data};
}

ApiAnswer AnswerForApi(const LedgerAnswer& answer)
{
    if (const auto* const object = std::get_if<QJsonObject>(&answer))
        return *object;
    const auto& refusal = std::get<LedgerRefusal>(answer);
    return ApiError{refusal.kind == LedgerRefusal::Kind::NoSuchMeter ? 404 : 503, refusal.text};
}

QJsonObject CommandList()
{
    QJsonArray list;
    for (const DaemonCommands::DaemonCommand& command : DaemonCommands::All())
        list.append(
            QJsonObject{{u"name"_s, command.name}, {u"argument"_s, DaemonCommands::ArgumentName(command.argument)},
                {u"about"_s, command.about}, {u"stops"_s, command.stops}, {u"answers"_s, command.answers}});
    return {{u"commands"_s, list}};
}

} // namespace

void Hub::JoinInterface()
{
    ApiAccess access{{}, settings.openReading};
    if (!settings.tokenFile.isEmpty()) {
        const TokenFile file = TokenFile::Read(settings.tokenFile);
        access.token = file.token;
        if (!file.problem.isEmpty()) {
            const QString text = tr("Nobody can command over TCP: %1").arg(file.problem);
            Necessity().Fails(text);
            Log(text, Severity::Error);
        }
    }
    api = new Api(Sources(), access, this);
    connect(
        &events, &EventLog::Appended, this, [this](const EventLog::Event& event) { api->Publish(EventForApi(event)); });
    server = new HttpServer(
        [this](const HttpRequest& request, const HttpResponder& responder) { api->Handle(request, responder); }, {},
        this);
    KeepListening(settings.socket, [this] { return server->ListenAtFile(settings.socket, settings.socketGroup); });
    if (!settings.listen.isEmpty())
        KeepListening(settings.listen, [this] { return server->ListenAtAddress(settings.listen); });
}

/// `listen` says why it cannot; then it is tried again until it can.
void Hub::KeepListening(const QString& place, const std::function<std::optional<QString>()>& listen)
{
    constexpr int TryAgainMs = 30000;
    auto* const again = new QTimer(this);
    const auto attempt = [place, listen, again, necessity = Necessity()]() mutable {
        const std::optional<QString> problem = listen();
        if (problem && necessity.Fails(tr("The interface is not at %1: %2").arg(place, *problem)))
            Log(tr("The interface is not at %1: %2").arg(place, *problem), Severity::Error);
        if (problem)
            return;
        necessity.Works(tr("The interface is at %1").arg(place));
        Log(tr("The interface is at %1").arg(place));
        again->deleteLater();
    };
    connect(again, &QTimer::timeout, again, attempt);
    again->start(TryAgainMs);
    QMetaObject::invokeMethod(again, "timeout", Qt::DirectConnection);
}

ApiSources Hub::Sources()
{
    // The interface asks for controllers that are there alone.
    const auto ledgerOf = [this](const QString& controller) { return Find(controller)->ledger; };
    ApiSources sources;
    sources.Controllers = [this] {
        QStringList names;
        for (const auto& station : stations)
            names.append(station->Name());
        return names;
    };
    sources.Status = [this](const QString& controller) { return StatusOf(*Find(controller)); };
    sources.Meters = [ledgerOf](const QString& controller) { return ledgerOf(controller)->Meters(); };
    sources.Incidents = [ledgerOf](const QString& controller) { return ledgerOf(controller)->IncidentsNow(); };
    sources.Nodes = [ledgerOf](const QString& controller) { return ledgerOf(controller)->Nodes(); };
    sources.Commands = [](const QString&) { return CommandList(); };
    sources.Sweeps = [ledgerOf](const QString& controller, const QDateTime& from, const QDateTime& to) {
        return ledgerOf(controller)->Sweeps(from, to);
    };
    sources.Readings = [ledgerOf](const QString& controller, qint64 meter, const QDateTime& from, const QDateTime& to) {
        return AnswerForApi(ledgerOf(controller)->Readings(meter, from, to));
    };
    sources.Ledger = [ledgerOf](const QString& controller, QDate from, QDate to) {
        return ledgerOf(controller)->Ledger(from, to);
    };
    sources.Clocks = [ledgerOf](const QString& controller, std::optional<qint64> meter) {
        return meter ? AnswerForApi(ledgerOf(controller)->Clocks(*meter)) : ApiAnswer(ledgerOf(controller)->Clocks());
    };
    sources.Command = [this](const QString& controller, const QString& name, const QString& argument,
                          const ApiSources::CommandReply& reply) { SendCommand(controller, name, argument, reply); };
    sources.Metrics = [this] { return Metrics(); };
    sources.EventsSince = [this](quint64 after) {
        QList<ApiEvent> found;
        for (const EventLog::Event& event : events.Since(after))
            found.append(EventForApi(event));
        return found;
    };
    sources.TrafficWanted = [this](bool wanted) { WatchTraffic(wanted); };
    return sources;
}

void Hub::SendCommand(
    const QString& controller, const QString& name, const QString& argument, const ApiSources::CommandReply& reply)
{
    Station& station = *Find(controller);
    const DaemonCommands::DaemonCommand* const command = DaemonCommands::Find(name);
    if (!command) {
        reply(ApiError{404, u"There is no such command; GET /api/commands lists them."_s});
        return;
    }
    QString reason;
    const std::optional<QByteArray> data = DaemonCommands::EncodeArgument(*command, argument, reason);
    if (!data) {
        reply(ApiError{400, reason});
        return;
    }
    if (name == "Input_Data_On"_L1 || name == "Input_Data_Off"_L1) {
        station.liveViewByCommand = name == "Input_Data_On"_L1;
        SwitchLiveView(station);
    }
    const auto finish = [this, &station, command, argument, reply](const DaemonLink::Reply& done) {
        static constexpr QLatin1StringView Words[] = {"sent"_L1, "answered"_L1, "away"_L1, "silent"_L1};
        Tell(station, EventKind::Command,
            {{u"command"_s, command->name}, {u"argument"_s, argument},
                {u"outcome"_s, Words[static_cast<size_t>(done.outcome)]}});
        switch (done.outcome) {
        case DaemonLink::Outcome::Sent:
            reply(ApiSources::Sent{});
            break;
        case DaemonLink::Outcome::Answered:
            reply(DaemonCommands::Reply(*command, done.message, done.data));
            break;
        case DaemonLink::Outcome::Away:
            reply(ApiError{503, u"The daemon is not connected."_s});
            break;
        case DaemonLink::Outcome::Silent:
            reply(ApiError{504, u"The daemon has not answered: it may be in a sweep."_s});
            break;
        }
    };
    station.commands.Count(name);
    station.link->Send(name.toLatin1(), *data, command->answers, AnswerWithinMs, finish);
}

/// Asks for the modem's list of nodes, now and then for as long as the program runs.
void Hub::ListNodes(Station& station)
{
    if (!station.askForNodes) {
        station.askForNodes = new QTimer(this);
        connect(station.askForNodes, &QTimer::timeout, this, [this, &station] { ListNodes(station); });
    }
    station.askForNodes->start(ListNodesEveryMs);
    const DaemonCommands::DaemonCommand* const command = DaemonCommands::Find(u"Get_ZDevices");
    const auto take = [&station, command](const DaemonLink::Reply& done) {
        if (done.outcome != DaemonLink::Outcome::Answered)
            return;
        QStringList uins;
        for (const QJsonValue uin : DaemonCommands::Reply(*command, done.message, done.data).toArray())
            uins.append(uin.toString());
        station.ledger->SetKnownNodes(uins.mid(1)); // the first is the modem itself
    };
    station.link->Send(QByteArray(command->name.data(), command->name.size()), {}, true, AnswerWithinMs, take);
}
