#pragma once

#include "eventstream.h"
#include "httprequest.h"
#include "httpresponse.h"

#include <functional>
#include <memory>
#include <optional>

/// One request and its answer, from the request line until the answer has gone or the connection broke. Shared by the
/// connection and by those who are to answer.
class HttpExchange final {
public:
    HttpRequest request;

    /// What the listener sets up: `resume` goes on with a connection that waits for an answer, `cut` breaks it off.
    /// After Over() neither is called.
    std::function<void()> resume;
    std::function<void()> cut;
    qsizetype streamBytes = 0;

    /// The first answer counts; further ones, and those after Over(), are dropped.
    void Answer(HttpResponse answer);
    [[nodiscard]] std::shared_ptr<EventStream> BeginEvents();

    [[nodiscard]] bool IsAnswered() const { return response.has_value() || events; }
    [[nodiscard]] const std::optional<HttpResponse>& Response() const { return response; }
    [[nodiscard]] const std::shared_ptr<EventStream>& Events() const { return events; }

    void Over();

private:
    std::optional<HttpResponse> response;
    std::shared_ptr<EventStream> events;
    bool isOver = false;
};

/// The right to answer one request, now or later. Copies share it. When the last copy goes without an answer, the
/// request is answered with 500. Answering after the reader has gone, or twice, does nothing.
class HttpResponder final {
public:
    explicit HttpResponder(std::shared_ptr<HttpExchange> exchange);

    void Answer(HttpResponse response) const;

    /// Answers with a stream of Server-Sent Events. Null when the request was answered already, its reader has gone, or
    /// he asked for the head alone. The stream may be kept beyond the connection; it is closed then.
    [[nodiscard]] std::shared_ptr<EventStream> BeginEvents() const;

private:
    struct Duty;
    std::shared_ptr<Duty> duty;
};
