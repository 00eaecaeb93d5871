#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMap>
#include <QString>

#include <array>
#include <optional>

/// The newest row of a meter that claims to be a reading.
struct MeterRow {
    QDateTime at; ///< of its sweep, with its zone
    int status = 0; ///< 0: a reading
    std::array<double, 5> energy{}; ///< kWh: the total, tariffs 1 to 4

    /// A silent meter's row holds zeros, with whatever status it claims: they are no energy.
    [[nodiscard]] bool IsReading() const { return status == 0 && energy != std::array<double, 5>{}; }
};

struct MeterMetrics {
    qint32 globalId = 0;
    std::optional<MeterRow> lastRow; ///< not exported unless it is a reading
    std::optional<double> clockOffset; ///< s, positive: the clock was fast
    qint64 expected = 0; ///< readings, since the hub was started; never less than before
    qint64 received = 0;
};

struct SweepMetrics {
    quint64 total = 0; ///< since the hub was started
    QDateTime last; ///< invalid: none is known
};

/// What is told of one daemon.
struct ControllerMetrics {
    QString name; ///< a stranger's text, as all names here
    bool isUp = false; ///< it is connected with the hub
    QMap<QString, SweepMetrics> sweeps; ///< by kind
    std::optional<double> sweepDuration; ///< s, of the last query sweep
    QMap<QString, int> sweepMeters; ///< of the last query sweep, by what became of them
    QList<MeterMetrics> meters;
    QMap<QString, int> incidents; ///< open ones, by kind
    QMap<QString, quint64> alarms; ///< by code
    QMap<QString, quint64> commands; ///< by name
    std::optional<bool> mqttConnected; ///< none: no broker is set
};

struct MetricsInput {
    QString version; ///< of the hub
    QList<ControllerMetrics> controllers;
};

/// All of it in the text format 0.0.4 of Prometheus. No series stands there twice: of two meters with one global_id,
/// and of two controllers with one name, the first counts. Values that are no finite numbers are left out, and so are
/// energies below 0: a counter has none.
[[nodiscard]] QByteArray MetricsText(const MetricsInput& input);
