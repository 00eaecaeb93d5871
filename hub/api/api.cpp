#include "api.h"

#include "bearertoken.h"
#include "clock.h"
#include "shown.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

/// Outside of all namespaces: that is how resources of a library are asked for.
static void InitResources()
{
    Q_INIT_RESOURCE(api);
}

namespace {

constexpr auto CommandPath = "/api/commands/"_L1;

constexpr std::array<QLatin1StringView, 7> Kinds{
    {"traffic"_L1, "log"_L1, "sweep"_L1, "incident"_L1, "alarm"_L1, "link"_L1, "command"_L1}};

constexpr std::array<QLatin1StringView, 1> ControllerOnly{{"controller"_L1}};
constexpr std::array<QLatin1StringView, 2> WithMeter{{"controller"_L1, "meter"_L1}};
constexpr std::array<QLatin1StringView, 3> WithRange{{"controller"_L1, "from"_L1, "to"_L1}};
constexpr std::array<QLatin1StringView, 4> WithMeterAndRange{{"controller"_L1, "meter"_L1, "from"_L1, "to"_L1}};
constexpr std::array<QLatin1StringView, 2> WithKinds{{"controller"_L1, "kinds"_L1}};

HttpResponse Json(const QByteArray& text, int status = 200)
{
    return {.status = status, .contentType = "application/json"_ba, .body = text + '\n', .headers = {}};
}

HttpResponse Json(const QJsonObject& object, int status = 200)
{
    return Json(QJsonDocument(object).toJson(QJsonDocument::Compact), status);
}

HttpResponse Response(const ApiError& error)
{
    return ErrorResponse(error.status, error.text);
}

HttpResponse Response(const ApiAnswer& answer)
{
    if (const auto* const error = std::get_if<ApiError>(&answer))
        return Response(*error);
    const auto* const text = std::get_if<QByteArray>(&answer);
    return text ? Json(*text) : Json(std::get<QJsonObject>(answer));
}

HttpResponse NotAllowed(const QByteArray& allowed)
{
    HttpResponse response = ErrorResponse(405, u"here are allowed: %1"_s.arg(QString::fromLatin1(allowed)));
    response.headers.emplaceBack("Allow"_ba, allowed);
    return response;
}

bool IsReading(const QByteArray& method)
{
    return method == "GET" || method == "HEAD";
}

/// What a source says, or that the program has none.
template <typename Source, typename... Arguments>
HttpResponse Asked(const Source& source, const Arguments&... arguments)
{
    if (!source)
        return ErrorResponse(503, u"this cannot be told yet"_s);
    return Response(source(arguments...));
}

/// The argument in {"argument": "..."}; an empty body is no argument.
std::variant<QString, ApiError> ReadArgument(const HttpRequest& request)
{
    if (request.body.trimmed().isEmpty())
        return QString();
    // A foreign page cannot send this type without being asked for its origin first.
    const QByteArray type = request.Header("content-type"_ba).split(';').constFirst().trimmed().toLower();
    if (type != "application/json")
        return ApiError{.status = 415, .text = u"the body of a command is application/json"_s};
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(request.body, &error);
    const QJsonObject object = document.object();
    const bool isRight =
        document.isObject() && (object.isEmpty() || (object.size() == 1 && object["argument"_L1].isString()));
    if (error.error != QJsonParseError::NoError || !isRight)
        return ApiError{.status = 400, .text = u"the body of a command is {\"argument\": \"...\"}"_s};
    return object[u"argument"_s].toString();
}

} // namespace

/// A place that is read.
struct Api::Route {
    QLatin1StringView path;
    std::span<const QLatin1StringView> parameters;
    Answer (*answer)(const ApiSources& sources, const Question& question); ///< null: the events
};

std::span<const QLatin1StringView> Api::EventKinds()
{
    return Kinds;
}

std::span<const Api::Route> Api::Routes()
{
    using Sources = const ApiSources&;
    using Asks = const Question&;
    static constexpr std::array<Route, 12> Table{{
        {"/api/status"_L1, ControllerOnly,
            [](Sources known, Asks asks) -> Answer { return Asked(known.Status, asks.controller); }},
        {"/api/meters"_L1, ControllerOnly,
            [](Sources known, Asks asks) -> Answer { return Asked(known.Meters, asks.controller); }},
        {"/api/incidents"_L1, ControllerOnly,
            [](Sources known, Asks asks) -> Answer { return Asked(known.Incidents, asks.controller); }},
        {"/api/nodes"_L1, ControllerOnly,
            [](Sources known, Asks asks) -> Answer { return Asked(known.Nodes, asks.controller); }},
        {"/api/commands"_L1, ControllerOnly,
            [](Sources known, Asks asks) -> Answer { return Asked(known.Commands, asks.controller); }},
        {"/api/sweeps"_L1, WithRange,
            [](Sources known, Asks asks) -> Answer {
                const auto range = asks.parameters.Times(CurrentDateTime());
                if (const auto* const error = std::get_if<ApiError>(&range))
                    return *error;
                const auto& times = std::get<TimeRange>(range);
                return Asked(known.Sweeps, asks.controller, times.from, times.to);
            }},
        {"/api/readings"_L1, WithMeterAndRange,
            [](Sources known, Asks asks) -> Answer {
                const auto meter = asks.parameters.Meter();
                if (const auto* const error = std::get_if<ApiError>(&meter))
                    return *error;
                const std::optional<qint64> id = std::get<std::optional<qint64>>(meter);
                if (!id)
                    return ApiError{.status = 400, .text = u"\"meter\" is missing: of which meter?"_s};
                const auto range = asks.parameters.Times(CurrentDateTime());
                if (const auto* const error = std::get_if<ApiError>(&range))
                    return *error;
                const auto& times = std::get<TimeRange>(range);
                return Asked(known.Readings, asks.controller, *id, times.from, times.to);
            }},
        {"/api/clocks"_L1, WithMeter,
            [](Sources known, Asks asks) -> Answer {
                const auto meter = asks.parameters.Meter();
                if (const auto* const error = std::get_if<ApiError>(&meter))
                    return *error;
                return Asked(known.Clocks, asks.controller, std::get<std::optional<qint64>>(meter));
            }},
        {"/api/ledger"_L1, WithRange,
            [](Sources known, Asks asks) -> Answer {
                const auto range = asks.parameters.Days(CurrentDateTime().date());
                if (const auto* const error = std::get_if<ApiError>(&range))
                    return *error;
                const auto& days = std::get<AskedDays>(range);
                return Asked(known.Ledger, asks.controller, days.from, days.to);
            }},
        {"/api/openapi.json"_L1, {},
            [](Sources, Asks) -> Answer {
                QFile file(u":/api/openapi.json"_s);
                if (!file.open(QIODevice::ReadOnly))
                    return ApiError{.status = 500, .text = u"the description is not in this program"_s};
                return HttpResponse{
                    .status = 200, .contentType = "application/json"_ba, .body = file.readAll(), .headers = {}};
            }},
        {"/metrics"_L1, {},
            [](Sources known, Asks) -> Answer {
                if (!known.Metrics)
                    return ApiError{.status = 503, .text = u"this cannot be told yet"_s};
                return HttpResponse{.status = 200,
                    .contentType = "text/plain; version=0.0.4; charset=utf-8"_ba,
                    .body = known.Metrics(),
                    .headers = {}};
            }},
        {"/api/events"_L1, WithKinds, nullptr},
    }};
    return Table;
}

Api::Api(ApiSources sources_, ApiAccess access_, QObject* parent)
    : QObject(parent),
      sources(std::move(sources_)),
      access(std::move(access_))
{
    InitResources();
    connect(&readers, &EventReaders::TrafficWanted, this, [this](bool wanted) {
        if (sources.TrafficWanted)
            sources.TrafficWanted(wanted);
    });
}

void Api::Handle(const HttpRequest& request, const HttpResponder& responder)
{
    if (request.path.startsWith(CommandPath))
        return TakeCommand(request, responder);
    const std::span<const Route> routes = Routes();
    const auto route =
        std::find_if(routes.begin(), routes.end(), [&request](const Route& each) { return each.path == request.path; });
    const bool isPage = route == routes.end() && !request.path.startsWith("/api/"_L1);
    if (route == routes.end() && !isPage)
        return responder.Answer(ErrorResponse(404, u"there is nothing at \"%1\""_s.arg(Shown(request.path.toUtf8()))));
    if (!IsReading(request.method))
        return responder.Answer(NotAllowed("GET, HEAD"_ba));
    // The page itself has no secrets, and is where a token is typed in.
    if (isPage)
        return responder.Answer(console.Answer(request));
    if (std::optional<HttpResponse> refusal = RefuseStranger(request, false))
        return responder.Answer(std::move(*refusal));
    Take(*route, request, responder);
}

std::optional<HttpResponse> Api::RefuseStranger(const HttpRequest& request, bool isCommand) const
{
    if (request.isLocal || (access.openReading && !isCommand))
        return {};
    if (access.token.isEmpty())
        return ErrorResponse(403, u"over TCP this needs a token, and this server has none: set TokenFile"_s);
    if (BearerFits(request.Header("authorization"_ba), access.token))
        return {};
    HttpResponse response = ErrorResponse(401, u"this needs the token of this server: \"Authorization: Bearer ...\""_s);
    response.headers.emplaceBack("WWW-Authenticate"_ba, "Bearer realm=\"ravelin\""_ba);
    return response;
}

void Api::Take(const Route& route, const HttpRequest& request, const HttpResponder& responder)
{
    const auto taken = ApiParameters::Take(request.query, route.parameters);
    if (const auto* const error = std::get_if<ApiError>(&taken))
        return responder.Answer(Response(*error));
    const auto& parameters = std::get<ApiParameters>(taken);
    QString controller;
    if (!route.parameters.empty()) {
        const auto named = parameters.Controller(sources.Controllers ? sources.Controllers() : QStringList());
        if (const auto* const error = std::get_if<ApiError>(&named))
            return responder.Answer(Response(*error));
        controller = std::get<QString>(named);
    }
    const Question question{
        .request = request, .responder = responder, .parameters = parameters, .controller = controller};
    if (!route.answer)
        return TakeEvents(question);
    const Answer answer = route.answer(sources, question);
    if (const auto* const error = std::get_if<ApiError>(&answer))
        return responder.Answer(Response(*error));
    responder.Answer(std::get<HttpResponse>(answer));
}

void Api::TakeEvents(const Question& question)
{
    const auto kinds = question.parameters.Kinds(Kinds);
    if (const auto* const error = std::get_if<ApiError>(&kinds))
        return question.responder.Answer(Response(*error));
    bool resumes = false;
    const quint64 last = question.request.Header("last-event-id"_ba).toULongLong(&resumes);
    const std::shared_ptr<EventStream> stream = question.responder.BeginEvents();
    if (!stream)
        return;
    // Without a name the events of all: each tells its controller.
    const EventReaders::Wish wish{.kinds = std::get<QSet<QByteArray>>(kinds),
        .controller = question.parameters.Text("controller"_L1).value_or(QString())};
    readers.Add(stream, wish, resumes && sources.EventsSince ? sources.EventsSince(last) : QList<ApiEvent>(), last);
}

void Api::TakeCommand(const HttpRequest& request, const HttpResponder& responder)
{
    if (request.method != "POST")
        return responder.Answer(NotAllowed("POST"_ba));
    if (std::optional<HttpResponse> refusal = RefuseStranger(request, true))
        return responder.Answer(std::move(*refusal));
    const auto taken = ApiParameters::Take(request.query, ControllerOnly);
    if (const auto* const error = std::get_if<ApiError>(&taken))
        return responder.Answer(Response(*error));
    const auto controller =
        std::get<ApiParameters>(taken).Controller(sources.Controllers ? sources.Controllers() : QStringList());
    if (const auto* const error = std::get_if<ApiError>(&controller))
        return responder.Answer(Response(*error));
    const auto argument = ReadArgument(request);
    if (const auto* const error = std::get_if<ApiError>(&argument))
        return responder.Answer(Response(*error));
    if (!sources.Command)
        return responder.Answer(ErrorResponse(503, u"no commands can be sent yet"_s));
    const QString name = request.path.sliced(CommandPath.size());
    sources.Command(
        std::get<QString>(controller), name, std::get<QString>(argument), [name, responder](const auto& outcome) {
            if (const auto* const error = std::get_if<ApiError>(&outcome))
                responder.Answer(Response(*error));
            else if (const auto* const reply = std::get_if<QJsonValue>(&outcome))
                responder.Answer(Json({{u"command"_s, name}, {u"reply"_s, *reply}}));
            else
                responder.Answer(Json({{u"command"_s, name}, {u"sent"_s, true}}, 202));
        });
}
