#pragma once

#include "meterannouncements.h"

#include <QHash>
#include <QMap>
#include <QObject>
#include <QQueue>
#include <QSet>

/// Keeps a broker told of one controller's meters. Each reading goes out once on its meter's topic "reading", in the
/// order of their coming, also when the broker was away meanwhile; on "state" the latest one is enough. What was said
/// before a connection was lost is said again, because a broker may forget what it kept.
class MeterAnnouncer final : public QObject {
    Q_OBJECT
public:
    /// `client` has the will Availability(false) and subscribes what Subscriptions() tells. It must live longer.
    MeterAnnouncer(MeterAnnouncements announcements_, MqttClient* client_, QObject* parent = nullptr);

    [[nodiscard]] static QList<QByteArray> Subscriptions(const MeterAnnouncements& announcements);

    /// The register as it is now. A meter that is not in it any more is taken from the broker.
    void SetMeters(const QList<AnnouncedMeter>& meters_);

    /// A row of a sweep. One that is no reading is left out. A meter that the register does not have gets no "state".
    void Take(const AnnouncedRow& row);

    /// The last reading of each meter, for "state" alone: what was stored before the hub was started.
    void SetLastReading(const AnnouncedRow& row);

    /// Readings that wait for the broker beside the client's own; more are dropped, the oldest first.
    static constexpr qsizetype MostWaiting = 10'000;

    [[nodiscard]] qsizetype Waiting() const { return backlog.size(); }

signals:
    /// Readings were dropped because too many waited; told once, until all that waited is gone.
    void Overflowed();

private:
    struct Known {
        AnnouncedMeter meter;
        std::optional<AnnouncedRow> last;
    };

    void SayAllAgain();
    void Hear(const QByteArray& topic, const QByteArray& payload);
    void AnnounceAll();
    void RemoveThoseThatLeft();
    bool SetLast(const AnnouncedRow& row);
    void Pump();
    [[nodiscard]] QList<MqttMessage> TakeNext();
    [[nodiscard]] bool HasTariffs(qint32 globalId) const;

    MeterAnnouncements announcements;
    MqttClient* client;
    bool isRegisterKnown = false;
    QMap<qint32, Known> meters;
    QSet<qint32> announced; ///< by us, or by an earlier run; without those that the register has

    // What is to be said when there is room, in this order.
    bool availabilityIsDue = false;
    QSet<qint32> removals;
    QSet<qint32> configs;
    bool metersAreDue = false;
    QSet<qint32> states;
    QQueue<AnnouncedRow> backlog;
    bool hasOverflowed = false;
    bool isPumping = false;
};
