// The library runs without a thread: its loop functions are called when its socket is ready. Each of them may close the
// descriptor, and a new connection may get the same number. So the notifiers are switched off before the library is
// called, and made anew when it has another socket (WatchSocket).

#include "mqttclient.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mosquitto.h>
#include <mutex>
#include <utility>

#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int FirstRetryMs = 1000;
constexpr int LongestRetryMs = 60'000;
constexpr int MiscMs = 5000; // the library counts whole seconds of its keep-alive
constexpr int QoS = 1;

void InitialiseLibrary()
{
    static std::once_flag once;
    std::call_once(once, [] { mosquitto_lib_init(); }); // never cleaned up: other clients may live
}

MqttClient* SelfOf(void* self)
{
    return static_cast<MqttClient*>(self);
}

/// A key with a password would make the library ask for it on the terminal.
int NoPassword(char* /*buffer*/, int /*size*/, int /*isForWriting*/, void* /*library*/)
{
    return 0;
}

QByteArray OrNull(const QString& text)
{
    return text.isEmpty() ? QByteArray() : text.toUtf8();
}

const char* DataOrNull(const QByteArray& text)
{
    return text.isNull() ? nullptr : text.constData();
}

} // namespace

MqttClient::MqttClient(const MqttSettings& settings_, QObject* parent) : QObject(parent), settings(settings_)
{
    InitialiseLibrary();
    // A clean session: what the broker would keep for us meanwhile are the retained messages, and these come anyway.
    library = mosquitto_new(settings.clientId.constData(), true, this);
    setUpProblem = library != nullptr ? SetUp() : tr("no memory");

    misc.setInterval(MiscMs);
    retry.setSingleShot(true);
    connect(&misc, &QTimer::timeout, this, &MqttClient::Misc);
    connect(&retry, &QTimer::timeout, this, &MqttClient::LookUp);
}

MqttClient::~MqttClient()
{
    if (lookUp >= 0)
        QHostInfo::abortHostLookup(lookUp);
    DropNotifiers();
    mosquitto_destroy(library);
}

QString MqttClient::SetUp()
{
    mosquitto_connect_callback_set(library, OnConnect);
    mosquitto_publish_callback_set(library, OnPublish);
    mosquitto_message_callback_set(library, OnMessage);
    mosquitto_log_callback_set(library, OnLog);

    int code = MOSQ_ERR_SUCCESS;
    if (!settings.user.isEmpty())
        code = mosquitto_username_pw_set(library, settings.user.toUtf8().constData(), settings.password.constData());
    if (code == MOSQ_ERR_SUCCESS && !settings.will.topic.isEmpty())
        code =
            mosquitto_will_set(library, settings.will.topic.constData(), static_cast<int>(settings.will.payload.size()),
                settings.will.payload.constData(), QoS, settings.will.retain);
    if (code != MOSQ_ERR_SUCCESS || settings.caFile.isEmpty())
        return code == MOSQ_ERR_SUCCESS ? QString() : ReasonOf(code);

    const QByteArray cert = OrNull(settings.certFile);
    const QByteArray key = OrNull(settings.keyFile);
    code = mosquitto_tls_set(
        library, settings.caFile.toUtf8().constData(), nullptr, DataOrNull(cert), DataOrNull(key), NoPassword);
    return code == MOSQ_ERR_SUCCESS ? QString() : tr("the files for TLS cannot be read");
}

void MqttClient::Start()
{
    if (!setUpProblem.isEmpty())
        QMetaObject::invokeMethod(
            this, [this] { emit Failed(setUpProblem); }, Qt::QueuedConnection);
    else
        LookUp();
}

void MqttClient::LookUp()
{
    if (const QHostAddress address(settings.host); !address.isNull()) {
        untried = {address};
        TryNextAddress();
    } else {
        lookUp = QHostInfo::lookupHost(settings.host, this, &MqttClient::TakeAddresses);
    }
}

void MqttClient::TakeAddresses(const QHostInfo& found)
{
    lookUp = -1;
    if (hasLeft)
        return;
    untried = found.addresses();
    if (untried.isEmpty())
        Lose(tr("the host's address is not found: %1").arg(found.errorString()));
    else
        TryNextAddress();
}

void MqttClient::TryNextAddress()
{
    const QHostAddress address = untried.takeFirst();
    const bool isTls = !settings.caFile.isEmpty();
    const bool isV4 = address.protocol() == QAbstractSocket::IPv4Protocol;
    // The certificate is checked against the name, so with TLS the library has to get the name. It takes the first
    // address that it finds; the local address makes that one of the wanted kind.
    const QByteArray host = (isTls ? settings.host : address.toString()).toUtf8();
    const char* from = !isTls ? nullptr : isV4 ? "0.0.0.0" : "::";
    lastComplaint.clear();
    phase = Phase::Connecting;
    DropNotifiers();
    After(mosquitto_connect_bind_async(library, host.constData(), settings.port, KeepAliveSeconds, from));
}

void MqttClient::Readable()
{
    readNotifier->setEnabled(false);
    After(mosquitto_loop_read(library, 1));
}

void MqttClient::Writable()
{
    writeNotifier->setEnabled(false);
    if (phase == Phase::Connecting) {
        int error = 0;
        socklen_t size = sizeof error;
        if (getsockopt(mosquitto_socket(library), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error != 0)
            lastComplaint = QString::fromLocal8Bit(std::strerror(error)); // reading it takes it from the library
        else
            phase = Phase::Open;
    }
    After(mosquitto_loop_write(library, 1));
}

void MqttClient::Misc()
{
    After(mosquitto_loop_misc(library));
}

void MqttClient::After(int code)
{
    WatchSocket();
    TellNews();
    // NO_CONN says what the socket says too, and an attempt that goes on is no failure.
    if (phase != Phase::Away && mosquitto_socket(library) < 0)
        Lose(ReasonOf(code));
}

void MqttClient::WatchSocket()
{
    const int socket = mosquitto_socket(library);
    if (socket < 0) {
        DropNotifiers();
        return;
    }
    if (!readNotifier || readNotifier->socket() != socket) {
        DropNotifiers();
        readNotifier.reset(new QSocketNotifier(socket, QSocketNotifier::Read));
        writeNotifier.reset(new QSocketNotifier(socket, QSocketNotifier::Write));
        connect(readNotifier.get(), &QSocketNotifier::activated, this, &MqttClient::Readable);
        connect(writeNotifier.get(), &QSocketNotifier::activated, this, &MqttClient::Writable);
        misc.start();
    }
    readNotifier->setEnabled(true);
    writeNotifier->setEnabled(phase == Phase::Connecting || mosquitto_want_write(library));
}

void MqttClient::DropNotifiers()
{
    misc.stop();
    for (auto* notifier : {&readNotifier, &writeNotifier}) {
        if (*notifier)
            (*notifier)->setEnabled(false);
        notifier->reset();
    }
}

void MqttClient::TellNews()
{
    const News told = std::exchange(news, {});
    if (!told.refusal.isEmpty())
        lastComplaint = told.refusal;
    if (told.accepted) {
        isConnected = true;
        retryMs = 0;
        untried.clear();
        lastComplaint.clear();
        for (const QByteArray& topic : std::as_const(settings.subscriptions))
            mosquitto_subscribe(library, nullptr, topic.constData(), QoS);
        WatchSocket();
        emit Connected();
    }
    for (const MqttMessage& message : told.received)
        emit Received(message.topic, message.payload);
    for (qsizetype i = 0; i < told.delivered; ++i)
        emit Delivered();
}

void MqttClient::Lose(const QString& reason)
{
    phase = Phase::Away;
    isConnected = false;
    DropNotifiers();
    if (hasLeft)
        return;
    if (!untried.isEmpty()) {
        // Not at once: the library may still be on the stack.
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (phase == Phase::Away && !untried.isEmpty() && !hasLeft)
                    TryNextAddress();
            },
            Qt::QueuedConnection);
        return;
    }
    retryMs = std::clamp(2 * retryMs, FirstRetryMs, LongestRetryMs);
    retry.start(retryMs);
    emit Failed(reason);
}

bool MqttClient::Publish(const MqttMessage& message)
{
    if (library == nullptr || Room() <= 0)
        return false;
    int id = 0;
    const int code = mosquitto_publish(library, &id, message.topic.constData(),
        static_cast<int>(message.payload.size()), message.payload.constData(), QoS, message.retain);
    // While it is offline the library says NO_CONN and has taken the message all the same; CONN_LOST likewise.
    const bool isTaken = code == MOSQ_ERR_SUCCESS || code == MOSQ_ERR_NO_CONN || code == MOSQ_ERR_CONN_LOST;
    if (isTaken)
        undelivered.insert(id);
    if (!isTaken)
        emit Refused(message.topic, ReasonOf(code));
    After(code);
    return isTaken;
}

void MqttClient::Leave(const MqttMessage& farewell)
{
    hasLeft = true;
    retry.stop();
    untried.clear();
    if (isConnected) {
        mosquitto_publish(library, nullptr, farewell.topic.constData(), static_cast<int>(farewell.payload.size()),
            farewell.payload.constData(), 0, farewell.retain);
        mosquitto_disconnect(library);
    }
    phase = Phase::Away;
    isConnected = false;
    DropNotifiers();
}

QString MqttClient::ReasonOf(int code) const
{
    if (!lastComplaint.isEmpty())
        return lastComplaint;
    if (code == MOSQ_ERR_ERRNO)
        return QString::fromLocal8Bit(std::strerror(errno));
    return QString::fromUtf8(mosquitto_strerror(code));
}

void MqttClient::OnConnect(mosquitto* /*library*/, void* self, int code)
{
    if (code == 0)
        SelfOf(self)->news.accepted = true;
    else
        SelfOf(self)->news.refusal = QString::fromUtf8(mosquitto_connack_string(code));
}

void MqttClient::OnPublish(mosquitto* /*library*/, void* self, int id)
{
    MqttClient* const client = SelfOf(self);
    if (client->undelivered.remove(id))
        ++client->news.delivered;
}

void MqttClient::OnMessage(mosquitto* /*library*/, void* self, const mosquitto_message* message)
{
    SelfOf(self)->news.received.append({QByteArray(message->topic),
        QByteArray(static_cast<const char*>(message->payload), message->payloadlen), message->retain});
}

void MqttClient::OnLog(mosquitto* /*library*/, void* self, int level, const char* text)
{
    if (level == MOSQ_LOG_ERR)
        SelfOf(self)->lastComplaint = QString::fromUtf8(text);
}
