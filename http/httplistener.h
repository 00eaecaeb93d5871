#pragma once

#include "httpexchange.h"

#include <QHostAddress>
#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <list>
#include <memory>
#include <microhttpd.h>
#include <optional>

class HttpServer;

/// One listening socket and its connections: an instance of the HTTP library, driven by the event loop. The library is
/// asked for its descriptor, which the loop watches, and for the time by which it wants to be called.
class HttpListener final : public QObject {
    Q_OBJECT
public:
    HttpListener(HttpServer& server_, bool isLocal_);
    ~HttpListener() override;

    /// Takes the descriptor, also when it fails. Nothing, or in words why it cannot listen.
    [[nodiscard]] std::optional<QString> Start(int listening);

    [[nodiscard]] bool IsLocal() const { return isLocal; }
    [[nodiscard]] quint16 Port() const;
    [[nodiscard]] int Connections() const { return static_cast<int>(connections.size()); }

    /// Breaks off the connections whose request takes too long, and those whose reader has left.
    void CutLateOnes();

private:
    struct Connection;
    struct Visit;
    struct Destroy {
        void operator()(MHD_Response* response) const { MHD_destroy_response(response); }
    };
    using ResponseOwner = std::unique_ptr<MHD_Response, Destroy>;

    void Run();
    void RunSoon();
    void Open(MHD_Connection* raw, void** context);
    void Close(Connection* connection);
    MHD_Result Take(Visit& visit, const char* data, size_t* size);
    MHD_Result TakeHead(Visit& visit, const char* method, const char* version);
    MHD_Result Ask(Visit& visit);
    MHD_Result Reply(Visit& visit);
    static ResponseOwner StreamResponse(const std::shared_ptr<EventStream>& events, Connection* connection);
    static ResponseOwner WholeResponse(const HttpResponse& answer);
    void Finish(std::unique_ptr<Visit> visit);

    HttpServer& server;
    const bool isLocal;
    MHD_Daemon* daemon = nullptr;
    std::unique_ptr<QSocketNotifier> notifier;
    QTimer timer;
    bool isRunning = false;
    std::list<Connection> connections;
};
