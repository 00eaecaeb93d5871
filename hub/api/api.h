#pragma once

#include "apiparameters.h"
#include "apisources.h"
#include "consolefiles.h"
#include "eventreaders.h"
#include "httpserver.h"

#include <QObject>

#include <functional>

/// Who may do what over TCP. Over the socket file nothing is asked.
struct ApiAccess {
    QByteArray token; ///< empty: nobody shows the right one
    bool openReading = false; ///< all but commands without a token
};

/// The interface over HTTP: finds the route of a request, checks who asks and what, asks the sources, and writes their
/// answers. openapi.json describes it; it is served too.
class Api final : public QObject {
    Q_OBJECT
public:
    Api(ApiSources sources, ApiAccess access, QObject* parent = nullptr);

    /// The handler of a server.
    void Handle(const HttpRequest& request, const HttpResponder& responder);

    /// An event has happened: to all who follow.
    void Publish(const ApiEvent& event) { readers.Publish(event); }

    /// All kinds of events.
    [[nodiscard]] static std::span<const QLatin1StringView> EventKinds();

private:
    struct Route;
    struct Question {
        const HttpRequest& request;
        const HttpResponder& responder;
        const ApiParameters& parameters;
        QString controller;
    };
    using Answer = std::variant<HttpResponse, ApiError>;

    [[nodiscard]] static std::span<const Route> Routes();
    [[nodiscard]] std::optional<HttpResponse> RefuseStranger(const HttpRequest& request, bool isCommand) const;
    void Take(const Route& route, const HttpRequest& request, const HttpResponder& responder);
    void TakeEvents(const Question& question);
    void TakeCommand(const HttpRequest& request, const HttpResponder& responder);

    ApiSources sources;
    ApiAccess access;
    ConsoleFiles console{QStringLiteral(":/console")};
    EventReaders readers;
};
