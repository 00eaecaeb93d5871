#pragma once

#include "httpexchange.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class HttpListener;

/// What strangers can claim. A connection beyond the number is closed at once; one whose request line, and then the
/// rest of the request, takes longer than `requestMs` each is broken off, as is one that stays idle for as long.
struct HttpLimits {
    qsizetype bodyBytes = 64 * 1024; ///< a longer body is answered with 413
    int socketFileConnections = 128;
    int tcpConnections = 64; ///< of all addresses together
    int requestMs = 10'000;
    int unreadSeconds = 30; ///< so long may an answer wait for a reader who takes nothing of it
    qsizetype streamBytes = 256 * 1024; ///< what may wait for the reader of one event stream
    int beatMs = 15'000; ///< between two beats of an event stream
};

/// Takes one request; called from the event loop. May answer at once, or keep the responder and answer later. Must not
/// destroy the server.
using HttpHandler = std::function<void(const HttpRequest&, const HttpResponder&)>;

/// HTTP/1.1 in the event loop, without a thread: at a socket file, at TCP addresses, or both. Connections stay open
/// between requests, pipelined requests are answered in order. Requests without one clear meaning, too large ones, and,
/// over TCP, those that a foreign page could have made are refused before the handler sees them.
class HttpServer final : public QObject {
    Q_OBJECT
public:
    explicit HttpServer(HttpHandler handler, HttpLimits limits = {}, QObject* parent = nullptr);

    /// Breaks off all connections; requests that still wait are not answered any more.
    ~HttpServer() override;

    /// Listens at a socket file of mode 0660 and, unless empty, of this group. Nothing, or in words why it cannot. A
    /// file that a dead program left is replaced, a live program's is not.
    [[nodiscard]] std::optional<QString> ListenAtFile(const QString& path, const QString& group = {});

    /// Listens at "127.0.0.1:8480", "[::1]:8480" or "name:8480". Over TCP the server goes by the names "localhost", the
    /// address at which the connection came, and, if it is one, the name given here.
    [[nodiscard]] std::optional<QString> ListenAtAddress(const QString& address);

    /// The TCP ports at which it listens.
    [[nodiscard]] QList<quint16> Ports() const;

    /// The connections that are open now.
    [[nodiscard]] int Connections() const;

private:
    friend class HttpListener;

    std::optional<QString> Listen(int descriptor, bool isLocal);
    [[nodiscard]] bool MayConnect(bool isLocal) const;
    void Watch(const std::shared_ptr<EventStream>& stream);
    void BeatAll();
    void CutLateOnes();

    struct Files;
    HttpHandler handler;
    const HttpLimits limits;
    QStringList names;
    std::unique_ptr<Files> files;
    std::vector<std::unique_ptr<HttpListener>> listeners;
    std::vector<std::weak_ptr<EventStream>> streams;
    QTimer beatTimer;
    QTimer lateTimer;
};
