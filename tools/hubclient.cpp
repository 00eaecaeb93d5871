#include "hubclient.h"

#include "interruption.h"
#include "person.h"
#include "texts.h"

#include <QFile>
#include <QJsonDocument>

#include <array>
#include <cerrno>
#include <cstring>
#include <curl/curl.h>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype MostBody = 64 * 1024 * 1024;
constexpr long ConnectSeconds = 10;
constexpr int Good = 200;
constexpr int FirstBad = 300;

struct EndEasy {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct EndMulti {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct EndList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Easy = std::unique_ptr<CURL, EndEasy>;
using Multi = std::unique_ptr<CURLM, EndMulti>;
using List = std::unique_ptr<curl_slist, EndList>;

/// Takes what comes; false ends the exchange.
using Sink = std::function<bool(QByteArrayView)>;

size_t PassOn(const char* bytes, size_t size, size_t count, void* sink)
{
    const size_t whole = size * count;
    return (*static_cast<Sink*>(sink))(QByteArrayView(bytes, static_cast<qsizetype>(whole))) ? whole : 0;
}

Easy NewRequest(const QString& socketPath, const QString& target, Sink& sink)
{
    Easy easy(curl_easy_init());
    curl_easy_setopt(easy.get(), CURLOPT_UNIX_SOCKET_PATH, QFile::encodeName(socketPath).constData());
    curl_easy_setopt(easy.get(), CURLOPT_URL, ("http://localhost" + target.toUtf8()).constData());
    curl_easy_setopt(easy.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(easy.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy.get(), CURLOPT_CONNECTTIMEOUT, ConnectSeconds);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, PassOn);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &sink);
    return easy;
}

int StatusOf(CURL* easy)
{
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    return static_cast<int>(status);
}

/// What the hub says about its refusal.
QString RefusalIn(const QJsonObject& body, int status)
{
    const QString error = body[u"error"_s].toString();
    return error.isEmpty() ? Texts::tr("The hub refuses with status %1.").arg(status)
                           : Texts::tr("The hub answers: %1").arg(error);
}

} // namespace

HubClient::HubClient(QString path) : socketPath(std::move(path)) { }

HubAnswer HubClient::Get(const QString& target) const
{
    constexpr long Seconds = 30;
    return Ask(target, nullptr, Seconds);
}

HubAnswer HubClient::Post(const QString& target, const QJsonObject& body) const
{
    constexpr long Seconds = 60;
    const QByteArray json = QJsonDocument(body).toJson(QJsonDocument::Compact);
    return Ask(target, &json, Seconds);
}

HubAnswer HubClient::Ask(const QString& target, const QByteArray* body, long timeoutSeconds) const
{
    QByteArray came;
    Sink sink = [&came](QByteArrayView bytes) {
        came += bytes;
        return came.size() <= MostBody;
    };
    const Easy easy = NewRequest(socketPath, target, sink);
    const List headers(body ? curl_slist_append(nullptr, "Content-Type: application/json") : nullptr);
    curl_easy_setopt(easy.get(), CURLOPT_TIMEOUT, timeoutSeconds);
    curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, headers.get());
    if (body) {
        curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
        curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDS, body->constData());
    }
    if (const CURLcode code = curl_easy_perform(easy.get()); code != CURLE_OK)
        return {0, {}, Why(code, timeoutSeconds)};
    HubAnswer answer{StatusOf(easy.get()), QJsonDocument::fromJson(came).object(), {}};
    if (answer.status < Good || answer.status >= FirstBad)
        answer.problem = RefusalIn(answer.body, answer.status);
    else if (answer.body.isEmpty())
        answer.problem = Texts::tr("What answers at %1 is no hub.").arg(socketPath);
    return answer;
}

HubClient::StreamEnd HubClient::Follow(const QString& target, const QByteArray& afterId,
    const Interruption& interruption, const std::function<void()>& whenOpen,
    const std::function<void(const HubEvent&)>& take, QString& problem) const
{
    EventReader reader;
    QByteArray refusal;
    bool isOpen = false;
    CURL* request = nullptr;
    Sink sink = [&](QByteArrayView bytes) {
        if (StatusOf(request) != Good) {
            refusal += bytes;
            return refusal.size() <= MostBody;
        }
        if (!std::exchange(isOpen, true))
            whenOpen();
        for (const HubEvent& event : reader.Take(bytes))
            take(event);
        return !reader.IsTooMuch();
    };
    const Easy easy = NewRequest(socketPath, target, sink);
    request = easy.get();
    const List headers(
        afterId.isEmpty() ? nullptr : curl_slist_append(nullptr, ("Last-Event-ID: " + afterId).constData()));
    curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, headers.get());

    const Multi multi(curl_multi_init());
    curl_multi_add_handle(multi.get(), easy.get());
    std::array<curl_waitfd, 2> looked{{{interruption.SignalDescriptor(), CURL_WAIT_POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    constexpr int LongestWaitMs = 1000;
    int running = 1;
    while (running > 0 && !interruption.HasCome()) {
        curl_multi_perform(multi.get(), &running);
        if (running > 0)
            curl_multi_poll(multi.get(), looked.data(), looked.size(), LongestWaitMs, nullptr);
    }
    int left = 0;
    const CURLMsg* const done = curl_multi_info_read(multi.get(), &left);
    const CURLcode code = done ? done->data.result : CURLE_OK;
    const int status = StatusOf(easy.get());
    curl_multi_remove_handle(multi.get(), easy.get());
    if (interruption.HasCome())
        return StreamEnd::Interrupted;
    if (code == CURLE_OK && status != Good) {
        problem = RefusalIn(QJsonDocument::fromJson(refusal).object(), status);
        return StreamEnd::Refused;
    }
    problem = code == CURLE_OK ? Texts::tr("The hub has ended the stream.") : Why(code, ConnectSeconds);
    return StreamEnd::Lost;
}

QString HubClient::Why(int curlCode, long timeoutSeconds) const
{
    if (curlCode == CURLE_OPERATION_TIMEDOUT)
        return Texts::tr("The hub at %1 did not answer within %2 s.").arg(socketPath).arg(timeoutSeconds);
    if (curlCode != CURLE_COULDNT_CONNECT)
        return Texts::tr("The hub at %1 cannot be asked: %2.")
            .arg(socketPath, QString::fromUtf8(curl_easy_strerror(static_cast<CURLcode>(curlCode))));
    const QByteArray name = QFile::encodeName(socketPath);
    if (::access(name.constData(), W_OK) == 0)
        return Texts::tr("Nobody listens at %1: the hub has ended.").arg(socketPath);
    if (errno == ENOENT)
        return Texts::tr("There is no hub at %1. Does the service ravelin-hub run? --hub names another socket.")
            .arg(socketPath);
    if (struct stat found{}; errno == EACCES && ::stat(name.constData(), &found) == 0)
        return Texts::tr("You may not ask the hub at %1: that is for the user %2 and the group %3.")
            .arg(socketPath, UserName(found.st_uid), GroupName(found.st_gid));
    return Texts::tr("You may not ask the hub at %1: %2.")
        .arg(socketPath, QString::fromLocal8Bit(std::strerror(errno)));
}
