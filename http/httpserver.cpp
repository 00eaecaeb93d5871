#include "httpserver.h"

#include "httplistener.h"
#include "listeningsocket.h"

#include <QHostAddress>

#include <algorithm>

/// The socket files; they are removed last, when nothing listens at them any more.
struct HttpServer::Files {
    std::vector<ListeningSocket> sockets;
};

HttpServer::HttpServer(HttpHandler handler_, HttpLimits limits_, QObject* parent)
    : QObject(parent),
      handler(std::move(handler_)),
      limits(limits_),
      files(std::make_unique<Files>())
{
    connect(&beatTimer, &QTimer::timeout, this, &HttpServer::BeatAll);
    connect(&lateTimer, &QTimer::timeout, this, &HttpServer::CutLateOnes);
    beatTimer.setInterval(limits.beatMs);
    lateTimer.setInterval(std::clamp(limits.requestMs / 10, 10, 1000));
}

HttpServer::~HttpServer() = default;

std::optional<QString> HttpServer::ListenAtFile(const QString& path, const QString& group)
{
    OpenedSockets opened = OpenedSockets::AtFile(path, group);
    if (!opened.problem.isEmpty())
        return opened.problem;
    for (ListeningSocket& socket : opened.sockets) {
        if (const auto problem = Listen(socket.TakeDescriptor(), true))
            return problem;
        files->sockets.push_back(std::move(socket));
    }
    return {};
}

std::optional<QString> HttpServer::ListenAtAddress(const QString& address)
{
    QString host;
    OpenedSockets opened = OpenedSockets::AtAddress(address, host);
    if (!opened.problem.isEmpty())
        return opened.problem;
    // An address is no name: a connection is asked for the one at which it came.
    if (QHostAddress(host).isNull())
        names += host;
    for (ListeningSocket& socket : opened.sockets)
        if (const auto problem = Listen(socket.TakeDescriptor(), false))
            return problem;
    return {};
}

std::optional<QString> HttpServer::Listen(int descriptor, bool isLocal)
{
    auto listener = std::make_unique<HttpListener>(*this, isLocal);
    if (const auto problem = listener->Start(descriptor))
        return problem;
    listeners.push_back(std::move(listener));
    lateTimer.start();
    return {};
}

QList<quint16> HttpServer::Ports() const
{
    QList<quint16> ports;
    for (const auto& listener : listeners)
        if (!listener->IsLocal())
            ports += listener->Port();
    return ports;
}

int HttpServer::Connections() const
{
    int sum = 0;
    for (const auto& listener : listeners)
        sum += listener->Connections();
    return sum;
}

bool HttpServer::MayConnect(bool isLocal) const
{
    int open = 0;
    for (const auto& listener : listeners)
        if (listener->IsLocal() == isLocal)
            open += listener->Connections();
    return open < (isLocal ? limits.socketFileConnections : limits.tcpConnections);
}

void HttpServer::Watch(const std::shared_ptr<EventStream>& stream)
{
    streams.push_back(stream);
    if (!beatTimer.isActive())
        beatTimer.start();
}

void HttpServer::BeatAll()
{
    std::erase_if(
        streams, [](const std::weak_ptr<EventStream>& each) { return each.expired() || !each.lock()->IsOpen(); });
    for (const std::weak_ptr<EventStream>& each : streams)
        if (const auto stream = each.lock())
            stream->Beat();
    if (streams.empty())
        beatTimer.stop();
}

void HttpServer::CutLateOnes()
{
    for (const auto& listener : listeners)
        listener->CutLateOnes();
}
