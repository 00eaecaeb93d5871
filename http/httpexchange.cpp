#include "httpexchange.h"

using namespace Qt::StringLiterals;

void HttpExchange::Answer(HttpResponse answer)
{
    if (isOver || IsAnswered())
        return;
    response = std::move(answer);
    resume();
}

std::shared_ptr<EventStream> HttpExchange::BeginEvents()
{
    if (isOver || IsAnswered())
        return {};
    if (request.method == "HEAD") {
        Answer({.status = 200, .contentType = "text/event-stream"_ba, .body = {}, .headers = {}});
        return {};
    }
    events = std::make_shared<EventStream>(EventStream::Connection{.wake = resume, .cut = cut}, streamBytes);
    resume();
    return events;
}

void HttpExchange::Over()
{
    isOver = true;
    resume = [] {};
    cut = [] {};
    if (events)
        events->ConnectionGone();
}

struct HttpResponder::Duty {
    explicit Duty(std::shared_ptr<HttpExchange> exchange_) : exchange(std::move(exchange_)) { }
    ~Duty() { exchange->Answer(ErrorResponse(500, u"this request was not answered"_s)); }
    Duty(const Duty&) = delete;
    Duty& operator=(const Duty&) = delete;

    std::shared_ptr<HttpExchange> exchange;
};

HttpResponder::HttpResponder(std::shared_ptr<HttpExchange> exchange) : duty(std::make_shared<Duty>(std::move(exchange)))
{
}

void HttpResponder::Answer(HttpResponse response) const
{
    duty->exchange->Answer(std::move(response));
}

std::shared_ptr<EventStream> HttpResponder::BeginEvents() const
{
    return duty->exchange->BeginEvents();
}
