#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include <array>
#include <optional>

/// One meter's row of a query sweep, as the daemon sends it.
struct SweepReading {
    qint32 globalId = 0;
    std::array<float, 5> energyKWh{}; ///< the total, then tariffs 1 to 4; all zero in a row without a reading
    QString date; ///< of the sweep, "yyyy-MM-dd"; whatever was sent, at most 10 characters
    QString time; ///< of the sweep, "hh:mm:ss"; at most 8 characters
    qint16 status = 0; ///< 0 with a reading

    /// Of the sweep, local time; invalid when its texts are no date and time.
    [[nodiscard]] QDateTime Stamp() const;
};

/// The shortest decimal that is this float: 0.1 and not 0.10000000149, as the daemon's database has it. What is no
/// finite number stays none.
[[nodiscard]] double DecimalOf(float value);

/// One reading of a meter's clock in a time sweep. Both texts are "yyyy-MM-dd hh:mm:ss" as a rule; at most 19
/// characters.
struct SweepClock {
    qint32 globalId = 0;
    QString shown; ///< by the meter's clock
    QString asked; ///< when, by the daemon's clock
};

/// What the daemon tells its peers when a sweep closes.
struct SweepMessage {
    enum class Kind : quint8 { Readings, Clocks };

    Kind kind = Kind::Readings;
    QString fileName; ///< as it was sent: nothing is known of it
    QList<SweepReading> readings; ///< with Kind::Readings
    QList<SweepClock> clocks; ///< with Kind::Clocks
    qsizetype bytesLeft = 0; ///< behind the last whole record, of a message that is damaged

    [[nodiscard]] qsizetype Records() const { return kind == Kind::Readings ? readings.size() : clocks.size(); }
};

/// Something happened at a meter, or at the modem: then `globalId` is the substation meter's.
struct AlarmMessage {
    qint32 globalId = 0;
    QString stamp; ///< "yyyy-MM-dd hh:mm:ss" by the daemon's clock
    int code = 0; ///< up to 255 from the modem, 55 for an opened case, 256 when the modem was started anew
};

/// The sweep in `data`, the payload of a Data frame; none when it is another message. Any bytes will do.
[[nodiscard]] std::optional<SweepMessage> DecodeSweepMessage(const QByteArray& data);

/// The alarm in `data`, as above; none when it is another message or its text is not an alarm's.
[[nodiscard]] std::optional<AlarmMessage> DecodeAlarmMessage(const QByteArray& data);
