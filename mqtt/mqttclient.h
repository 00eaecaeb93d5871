#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QHostInfo>
#include <QList>
#include <QObject>
#include <QSet>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>

#include <memory>

struct mosquitto;

/// Goes out with QoS 1: at least once.
struct MqttMessage {
    QByteArray topic;
    QByteArray payload;
    bool retain = false; ///< the broker keeps it as the topic's last one; an empty payload takes that away
};

struct MqttSettings {
    QString host; ///< a name or an address
    quint16 port = 1883;
    QString user; ///< empty: none
    QByteArray password;
    QString caFile; ///< PEM; not empty: TLS, and the broker's certificate must be good for `host`
    QString certFile; ///< PEM, the client's own; with keyFile or not at all
    QString keyFile; ///< PEM, without a password
    QByteArray clientId; ///< must not be another client's on that broker: the two would throw each other out
    MqttMessage will; ///< the broker sends it when the connection breaks
    QList<QByteArray> subscriptions;
};

/// One connection to an MQTT broker (3.1.1) in the event loop, without a thread of its own. It connects by itself, and
/// again when it is lost: after 1 s, then twice as long each time, at most a minute. Nothing here waits, but for one
/// thing: with TLS the library looks the host's name up a second time, right after the lookup beside the loop was good.
class MqttClient final : public QObject {
    Q_OBJECT
public:
    explicit MqttClient(const MqttSettings& settings_, QObject* parent = nullptr);
    /// Without Leave() the broker sends the will.
    ~MqttClient() override;

    void Start();

    /// Says goodbye with `farewell`, if connected, and stays away. Messages that were not delivered are lost.
    void Leave(const MqttMessage& farewell);

    /// The broker has accepted the connection.
    [[nodiscard]] bool IsConnected() const { return isConnected; }

    /// How many messages Publish() takes now.
    [[nodiscard]] qsizetype Room() const { return MostUndelivered - undelivered.size(); }

    /// Takes a message, also while the broker is away: it goes out again after each reconnect until the broker has
    /// confirmed it. False: there is no room, or the message is none (see Refused).
    bool Publish(const MqttMessage& message);

    /// Messages that the broker has not confirmed yet.
    static constexpr qsizetype MostUndelivered = 64;
    static constexpr int KeepAliveSeconds = 30; ///< a broker that stalls is left after twice that

signals:
    void Connected();
    /// A connection was lost or an attempt failed; `reason` is a few words. Another attempt follows by itself.
    void Failed(const QString& reason);
    /// A message can never be sent: its topic is no topic, or it is too large.
    void Refused(const QByteArray& topic, const QString& reason);
    void Received(const QByteArray& topic, const QByteArray& payload);
    /// The broker has confirmed a message.
    void Delivered();

private:
    enum class Phase : quint8 { Away, Connecting, Open };

    /// What the library's callbacks tell. It is passed on only when the library's function has returned: a receiver may
    /// call any function here.
    struct News {
        bool accepted = false;
        qsizetype delivered = 0;
        QList<MqttMessage> received;
        QString refusal; ///< the broker's words
    };

    static void OnConnect(mosquitto* library, void* self, int code);
    static void OnPublish(mosquitto* library, void* self, int id);
    static void OnMessage(mosquitto* library, void* self, const struct mosquitto_message* message);
    static void OnLog(mosquitto* library, void* self, int level, const char* text);

    [[nodiscard]] QString SetUp();
    void LookUp();
    void TakeAddresses(const QHostInfo& found);
    void TryNextAddress();
    void Readable();
    void Writable();
    void Misc();
    void After(int code);
    void WatchSocket();
    void DropNotifiers();
    void TellNews();
    void Lose(const QString& reason);
    [[nodiscard]] QString ReasonOf(int code) const;

    MqttSettings settings;
    mosquitto* library = nullptr;
    QString setUpProblem;
    bool isConnected = false;
    bool hasLeft = false;
    Phase phase = Phase::Away;
    QList<QHostAddress> untried; ///< of the host, in this attempt
    QSet<int> undelivered; ///< the library's numbers
    News news;
    QString lastComplaint; ///< of the library, in this attempt
    std::unique_ptr<QSocketNotifier, QScopedPointerDeleteLater> readNotifier;
    std::unique_ptr<QSocketNotifier, QScopedPointerDeleteLater> writeNotifier;
    QTimer misc;
    QTimer retry;
    int retryMs = 0;
    int lookUp = -1;
};
