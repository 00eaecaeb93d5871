// Two habits of the library shape this file. An answer given when it first shows a request, before the body, closes the
// connection: refusals are given then, everything else at its last call. And a connection whose answer is not there yet
// is suspended: it is then neither read nor timed until it is resumed.

#include "httplistener.h"

#include "clock.h"
#include "httpserver.h"
#include "requestguard.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <limits>

#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// Holds a request's head and what is about to be sent.
constexpr size_t ConnectionMemory = 16 * 1024;

// The library stops accepting at its own limit, and those who come then wait without an answer. Ours is below it and
// closes.
constexpr unsigned int Headroom = 16;

constexpr size_t StreamBlock = 8 * 1024;

// What is read of a body that is too long, only to be able to say so.
constexpr qsizetype MostDropped = 1024 * 1024;

constexpr qint64 Never = std::numeric_limits<qint64>::max();

// Where the answer does not say otherwise.
constexpr std::array<std::pair<const char*, const char*>, 5> CommonHeaders{{
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
    {"Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'"},
}};

void AddCommonHeaders(MHD_Response* response)
{
    for (const auto& [name, value] : CommonHeaders)
        if (!MHD_get_response_header(response, name))
            MHD_add_response_header(response, name, value);
}

} // namespace

struct HttpListener::Connection {
    MHD_Connection* raw = nullptr;
    int descriptor = -1;
    qint64 lateAt = Never;
    bool isSuspended = false;
    std::weak_ptr<EventStream> events;

    void Suspend()
    {
        isSuspended = true;
        MHD_suspend_connection(raw);
    }

    void Resume()
    {
        if (isSuspended) {
            isSuspended = false;
            MHD_resume_connection(raw);
        }
    }

    /// The library does not look at a suspended connection: a reader of events who has gone would hold his place until
    /// the next beat.
    void EndIfLeft()
    {
        char next = 0;
        const auto stream = isSuspended ? events.lock() : nullptr;
        if (!stream)
            return;
        const ssize_t read = recv(descriptor, &next, 1, MSG_PEEK | MSG_DONTWAIT);
        if (read == 0 || (read < 0 && errno != EAGAIN))
            stream->End();
    }

    /// The library finds the end of the connection by itself.
    void Cut()
    {
        shutdown(descriptor, SHUT_RDWR);
        Resume();
    }
};

/// What the library keeps for us with one request.
struct HttpListener::Visit {
    HttpListener* listener = nullptr;
    Connection* connection = nullptr;
    QByteArray target;
    bool headIsTaken = false;
    bool wasAsked = false;
    qsizetype bodyBytes = 0;
    std::shared_ptr<HttpExchange> exchange = std::make_shared<HttpExchange>();
};

HttpListener::HttpListener(HttpServer& server_, bool isLocal_) : server(server_), isLocal(isLocal_) { }

std::optional<QString> HttpListener::Start(int listening)
{
    const HttpLimits& limits = server.limits;
    const auto most = static_cast<unsigned int>(isLocal ? limits.socketFileConnections : limits.tcpConnections);

    const auto accept = [](void* self, const sockaddr*, socklen_t) -> MHD_Result {
        auto* listener = static_cast<HttpListener*>(self);
        return listener->server.MayConnect(listener->isLocal) ? MHD_YES : MHD_NO;
    };
    const auto notify = [](void* self, MHD_Connection* raw, void** context, MHD_ConnectionNotificationCode code) {
        auto* listener = static_cast<HttpListener*>(self);
        if (code == MHD_CONNECTION_NOTIFY_STARTED)
            listener->Open(raw, context);
        else
            listener->Close(static_cast<Connection*>(*context));
    };
    const auto begin = [](void* self, const char* target, MHD_Connection* raw) -> void* {
        auto* listener = static_cast<HttpListener*>(self);
        auto* connection =
            static_cast<Connection*>(MHD_get_connection_info(raw, MHD_CONNECTION_INFO_SOCKET_CONTEXT)->socket_context);
        connection->lateAt = MonotonicMs() + listener->server.limits.requestMs;
        auto visit = std::make_unique<Visit>();
        visit->listener = listener;
        visit->connection = connection;
        visit->target = target;
        return visit.release();
    };
    const auto access = [](void* self, MHD_Connection*, const char*, const char* method, const char* version,
                            const char* data, size_t* size, void** context) -> MHD_Result {
        auto* listener = static_cast<HttpListener*>(self);
        Visit& visit = *static_cast<Visit*>(*context);
        return visit.headIsTaken ? listener->Take(visit, data, size) : listener->TakeHead(visit, method, version);
    };
    const auto finish = [](void* self, MHD_Connection*, void** context, MHD_RequestTerminationCode) {
        static_cast<HttpListener*>(self)->Finish(std::unique_ptr<Visit>(static_cast<Visit*>(*context)));
        *context = nullptr;
    };

    using Accept = MHD_AcceptPolicyCallback;
    using Access = MHD_AccessHandlerCallback;
    using Notify = MHD_NotifyConnectionCallback;
    using Completed = MHD_RequestCompletedCallback;
    using Begin = void* (*)(void*, const char*, MHD_Connection*);
    daemon = MHD_start_daemon(MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME, 0, static_cast<Accept>(accept), this,
        static_cast<Access>(access), this, MHD_OPTION_LISTEN_SOCKET, listening, MHD_OPTION_CONNECTION_LIMIT,
        most + Headroom, MHD_OPTION_CONNECTION_MEMORY_LIMIT, ConnectionMemory, MHD_OPTION_CONNECTION_TIMEOUT,
        static_cast<unsigned int>(limits.unreadSeconds), MHD_OPTION_NOTIFY_CONNECTION, static_cast<Notify>(notify),
        this, MHD_OPTION_NOTIFY_COMPLETED, static_cast<Completed>(finish), this, MHD_OPTION_URI_LOG_CALLBACK,
        static_cast<Begin>(begin), this, MHD_OPTION_END);
    if (!daemon) {
        close(listening);
        return u"the HTTP library cannot start: %1"_s.arg(QString::fromLocal8Bit(std::strerror(errno)));
    }
    const int descriptor = MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
    notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
    connect(notifier.get(), &QSocketNotifier::activated, this, &HttpListener::Run);
    timer.setSingleShot(true);
    connect(&timer, &QTimer::timeout, this, &HttpListener::Run);
    return {};
}

HttpListener::~HttpListener()
{
    if (!daemon)
        return;
    notifier.reset();
    timer.stop();
    // The library may not be stopped while connections are suspended.
    for (Connection& connection : connections)
        connection.Cut();
    isRunning = true;
    MHD_stop_daemon(daemon);
}

quint16 HttpListener::Port() const
{
    const MHD_DaemonInfo* info = MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_BIND_PORT);
    return info ? info->port : quint16(0);
}

void HttpListener::Run()
{
    // A handler may have waited in an event loop of its own.
    if (isRunning)
        return;
    isRunning = true;
    MHD_run(daemon);
    isRunning = false;

    MHD_UNSIGNED_LONG_LONG ms = 0;
    if (MHD_get_timeout(daemon, &ms) == MHD_YES)
        timer.start(static_cast<int>(std::min<MHD_UNSIGNED_LONG_LONG>(ms, 60'000)));
    else
        timer.stop();
}

void HttpListener::RunSoon()
{
    if (!isRunning)
        timer.start(0);
}

void HttpListener::Open(MHD_Connection* raw, void** context)
{
    Connection& connection = connections.emplace_back();
    connection.raw = raw;
    connection.descriptor = MHD_get_connection_info(raw, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
    connection.lateAt = MonotonicMs() + server.limits.requestMs;
    *context = &connection;
}

void HttpListener::Close(Connection* connection)
{
    connections.remove_if([connection](const Connection& each) { return &each == connection; });
}

void HttpListener::CutLateOnes()
{
    const qint64 now = MonotonicMs();
    for (Connection& connection : connections) {
        connection.EndIfLeft();
        if (now < connection.lateAt)
            continue;
        connection.lateAt = Never;
        connection.Cut();
    }
}

MHD_Result HttpListener::TakeHead(Visit& visit, const char* method, const char* version)
{
    visit.headIsTaken = true;
    HttpExchange& exchange = *visit.exchange;
    HttpRequest& request = exchange.request;
    request.method = method;
    request.isLocal = isLocal;

    RequestHead head{.version = version, .headers = {}};
    const auto note = [](void* to, MHD_ValueKind, const char* name, const char* value) -> MHD_Result {
        static_cast<RequestHead*>(to)->headers.emplaceBack(QByteArray(name).toLower(), QByteArray(value));
        return MHD_YES;
    };
    using Note = MHD_KeyValueIterator;
    MHD_get_connection_values(visit.connection->raw, MHD_HEADER_KIND, static_cast<Note>(note), &head);
    for (const auto& [name, value] : head.headers) {
        QByteArray& known = request.headers[name];
        known = known.isNull() ? value : known + ", " + value;
    }

    Connection* connection = visit.connection;
    exchange.streamBytes = server.limits.streamBytes;
    exchange.resume = [this, connection] {
        connection->Resume();
        RunSoon();
    };
    exchange.cut = [this, connection] {
        connection->Cut();
        RunSoon();
    };

    std::optional<HttpResponse> refusal = RefuseFraming(head, server.limits.bodyBytes);
    if (!refusal && !isLocal) {
        sockaddr_storage address{};
        socklen_t size = sizeof address;
        getsockname(visit.connection->descriptor, reinterpret_cast<sockaddr*>(&address), &size);
        refusal = RefuseForeign(
            head, {.address = QHostAddress(reinterpret_cast<const sockaddr*>(&address)), .names = server.names});
    }
    if (std::optional<HttpTarget> target = ParseTarget(visit.target)) {
        request.path = std::move(target->path);
        request.query = std::move(target->query);
    } else if (!refusal) {
        refusal = ErrorResponse(400, u"the path or the query cannot be read"_s);
    }
    if (!refusal)
        return MHD_YES;
    exchange.Answer(std::move(*refusal));
    return Reply(visit);
}

MHD_Result HttpListener::Take(Visit& visit, const char* data, size_t* size)
{
    if (*size > 0) {
        const auto bytes = static_cast<qsizetype>(*size);
        visit.bodyBytes += bytes;
        *size = 0;
        if (visit.bodyBytes > server.limits.bodyBytes + MostDropped)
            return MHD_NO;
        if (visit.bodyBytes <= server.limits.bodyBytes)
            visit.exchange->request.body.append(data, bytes);
        return MHD_YES;
    }
    return visit.wasAsked ? Reply(visit) : Ask(visit);
}

MHD_Result HttpListener::Ask(Visit& visit)
{
    visit.wasAsked = true;
    visit.connection->lateAt = Never;
    const std::shared_ptr<HttpExchange> exchange = visit.exchange;
    if (visit.bodyBytes > server.limits.bodyBytes)
        exchange->Answer(ErrorResponse(413, u"a request's body has at most %1 bytes"_s.arg(server.limits.bodyBytes)));
    else
        server.handler(exchange->request, HttpResponder(exchange));

    if (exchange->IsAnswered())
        return Reply(visit);
    visit.connection->Suspend();
    return MHD_YES;
}

MHD_Result HttpListener::Reply(Visit& visit)
{
    const HttpExchange& exchange = *visit.exchange;
    const ResponseOwner response =
        exchange.Events() ? StreamResponse(exchange.Events(), visit.connection) : WholeResponse(*exchange.Response());
    if (!response)
        return MHD_NO;
    if (exchange.Events())
        server.Watch(exchange.Events());
    const int status = exchange.Events() ? 200 : exchange.Response()->status;
    return MHD_queue_response(visit.connection->raw, static_cast<unsigned int>(status), response.get());
}

/// The connection reads what the stream holds, and is suspended while there is nothing.
HttpListener::ResponseOwner HttpListener::StreamResponse(
    const std::shared_ptr<EventStream>& events, Connection* connection)
{
    struct Source {
        std::shared_ptr<EventStream> events;
        Connection* connection;
    };
    const auto read = [](void* from, uint64_t, char* to, size_t most) -> ssize_t {
        auto* source = static_cast<Source*>(from);
        const qsizetype taken = source->events->Take(to, static_cast<qsizetype>(most));
        if (taken > 0)
            return static_cast<ssize_t>(taken);
        if (source->events->IsAtEnd())
            return MHD_CONTENT_READER_END_OF_STREAM;
        source->connection->Suspend();
        return 0;
    };
    const auto release = [](void* from) { delete static_cast<Source*>(from); };
    using Read = MHD_ContentReaderCallback;
    using Release = MHD_ContentReaderFreeCallback;
    connection->events = events;
    auto source = std::make_unique<Source>(Source{.events = events, .connection = connection});
    ResponseOwner response(MHD_create_response_from_callback(
        MHD_SIZE_UNKNOWN, StreamBlock, static_cast<Read>(read), source.get(), static_cast<Release>(release)));
    if (!response)
        return response;
    static_cast<void>(source.release()); // the response's now
    MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_TYPE, "text/event-stream");
    AddCommonHeaders(response.get());
    return response;
}

HttpListener::ResponseOwner HttpListener::WholeResponse(const HttpResponse& answer)
{
    const auto release = [](void* body) { delete static_cast<QByteArray*>(body); };
    using Release = MHD_ContentReaderFreeCallback;
    auto body = std::make_unique<QByteArray>(answer.body);
    ResponseOwner response(MHD_create_response_from_buffer_with_free_callback_cls(
        static_cast<size_t>(body->size()), body->data(), static_cast<Release>(release), body.get()));
    if (!response)
        return response;
    static_cast<void>(body.release()); // the response's now
    if (!answer.contentType.isEmpty())
        MHD_add_response_header(response.get(), MHD_HTTP_HEADER_CONTENT_TYPE, answer.contentType.constData());
    for (const auto& [name, value] : answer.headers)
        MHD_add_response_header(response.get(), name.constData(), value.constData());
    AddCommonHeaders(response.get());
    return response;
}

void HttpListener::Finish(std::unique_ptr<Visit> visit)
{
    if (!visit)
        return;
    visit->connection->lateAt = MonotonicMs() + server.limits.requestMs;
    visit->exchange->Over();
}
