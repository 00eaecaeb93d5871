// A series is told apart by its name and labels alone, and a second one of the same ends the whole scrape with an
// error: so each family remembers the labels that it has written.

#include "metricstext.h"

#include "shown.h"

#include <QLocale>
#include <QSet>

#include <cmath>
#include <functional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr double JoulesPerKWh = 3.6e6;

/// Beside "controller".
struct Label {
    const char* name;
    QString value;
};

/// Control characters do not get here: Shown() writes them as escapes. They would be legal, but one NUL ends the scrape
/// of all.
QByteArray Quoted(const QString& text)
{
    QByteArray value = Shown(text.toUtf8()).toUtf8();
    value.replace('\\', "\\\\").replace('"', "\\\"");
    return '"' + value + '"';
}

/// One metric with all its series.
class Family final {
public:
    Family(const char* name_, const char* type_, const char* help_) : name(name_), type(type_), help(help_) { }

    void Add(const QString& controller, const QList<Label>& labels, double value)
    {
        if (!std::isfinite(value))
            return;
        QByteArray series = "{controller=" + Quoted(controller);
        for (const Label& label : labels)
            series += ',' + QByteArray(label.name) + '=' + Quoted(label.value);
        series += '}';
        const qsizetype known = written.size();
        written.insert(series);
        if (written.size() > known)
            lines += name + series + ' ' + QByteArray::number(value, 'g', QLocale::FloatingPointShortest) + '\n';
    }

    /// Empty without a series.
    [[nodiscard]] QByteArray Text() const
    {
        if (lines.isEmpty())
            return {};
        return "# HELP " + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n' + lines;
    }

private:
    QByteArray name;
    QByteArray type;
    QByteArray help;
    QByteArray lines;
    QSet<QByteArray> written;
};

/// Seconds since 1970; no number for an invalid time.
double Timestamp(const QDateTime& time)
{
    return time.isValid() ? static_cast<double>(time.toMSecsSinceEpoch()) / 1000 : std::nan("");
}

double Joules(const MeterRow& row)
{
    const double total = row.energy[0];
    // A stored total is a float: 7 digits are its own, the rest is noise.
    return total >= 0 ? std::round(total * JoulesPerKWh) : std::nan("");
}

using Add = std::function<void(const ControllerMetrics&, Family&)>;

struct Metric {
    const char* name;
    const char* type;
    const char* help;
    Add add;
};

/// Each meter's value, if it has one.
Add OfMeters(const std::function<std::optional<double>(const MeterMetrics&)>& value)
{
    return [value](const ControllerMetrics& controller, Family& family) {
        QSet<qint32> seen; // the second meter of an id must not fill in what the first one does not have
        for (const MeterMetrics& meter : controller.meters) {
            if (seen.contains(meter.globalId))
                continue;
            seen.insert(meter.globalId);
            if (const std::optional<double> found = value(meter))
                family.Add(controller.name, {{"global_id", QString::number(meter.globalId)}}, *found);
        }
    };
}

std::optional<double> OfReading(const MeterMetrics& meter, double (*value)(const MeterRow&))
{
    if (!meter.lastRow || !meter.lastRow->IsReading())
        return std::nullopt;
    return value(*meter.lastRow);
}

template <typename Number>
Add OfEach(QMap<QString, Number> ControllerMetrics::*map, const char* label)
{
    return [map, label](const ControllerMetrics& controller, Family& family) {
        for (const auto& [key, value] : (controller.*map).asKeyValueRange())
            family.Add(controller.name, {{label, key}}, static_cast<double>(value));
    };
}

Add OfSweeps(double (*value)(const SweepMetrics&))
{
    return [value](const ControllerMetrics& controller, Family& family) {
        for (const auto& [kind, sweeps] : controller.sweeps.asKeyValueRange())
            family.Add(controller.name, {{"kind", kind}}, value(sweeps));
    };
}

const QList<Metric>& Metrics()
{
    static const QList<Metric> metrics{
        {"ravelin_controller_up", "gauge", "Whether the daemon is connected with the hub.",
            [](const ControllerMetrics& controller, Family& family) {
                family.Add(controller.name, {}, controller.isUp ? 1 : 0);
            }},
        {"ravelin_sweeps_total", "counter", "Sweeps whose summary came, since the hub was started.",
            OfSweeps([](const SweepMetrics& sweeps) { return static_cast<double>(sweeps.total); })},
        {"ravelin_sweep_last_timestamp_seconds", "gauge", "When the last sweep began.",
            OfSweeps([](const SweepMetrics& sweeps) { return Timestamp(sweeps.last); })},
        {"ravelin_sweep_duration_seconds", "gauge", "How long the last query sweep took.",
            [](const ControllerMetrics& controller, Family& family) {
                if (controller.sweepDuration)
                    family.Add(controller.name, {}, *controller.sweepDuration);
            }},
        {"ravelin_sweep_meters", "gauge", "Meters in the last query sweep, by what became of them.",
            OfEach(&ControllerMetrics::sweepMeters, "status")},
        {"ravelin_meter_energy_joules_total", "counter", "The total that the meter's last reading shows.",
            OfMeters([](const MeterMetrics& meter) { return OfReading(meter, Joules); })},
        {"ravelin_meter_last_reading_timestamp_seconds", "gauge", "When the sweep of the meter's last reading began.",
            OfMeters([](const MeterMetrics& meter) {
                return OfReading(meter, [](const MeterRow& row) { return Timestamp(row.at); });
            })},
        {"ravelin_meter_clock_offset_seconds", "gauge", "How fast the meter's clock was when it was last read.",
            OfMeters([](const MeterMetrics& meter) { return meter.clockOffset; })},
        {"ravelin_meter_readings_expected_total", "counter", "Readings that were due, since the hub was started.",
            OfMeters([](const MeterMetrics& meter) { return std::optional(static_cast<double>(meter.expected)); })},
        {"ravelin_meter_readings_received_total", "counter", "Of the readings that were due, those that came.",
            OfMeters([](const MeterMetrics& meter) { return std::optional(static_cast<double>(meter.received)); })},
        {"ravelin_incidents", "gauge", "Incidents that last, by kind.", OfEach(&ControllerMetrics::incidents, "kind")},
        {"ravelin_alarms_total", "counter", "Error messages of the daemon, by code, since the hub was started.",
            OfEach(&ControllerMetrics::alarms, "code")},
        {"ravelin_commands_total", "counter", "Commands sent to the daemon, since the hub was started.",
            OfEach(&ControllerMetrics::commands, "command")},
        {"ravelin_mqtt_connected", "gauge", "Whether the broker has accepted the hub's connection.",
            [](const ControllerMetrics& controller, Family& family) {
                if (controller.mqttConnected)
                    family.Add(controller.name, {}, *controller.mqttConnected ? 1 : 0);
            }},
    };
    return metrics;
}

} // namespace

QByteArray MetricsText(const MetricsInput& input)
{
    QByteArray text;
    QSet<QString> names;
    QList<const ControllerMetrics*> controllers;
    for (const ControllerMetrics& controller : input.controllers) {
        if (!names.contains(controller.name))
            controllers.append(&controller);
        names.insert(controller.name);
    }

    for (const Metric& metric : Metrics()) {
        Family family(metric.name, metric.type, metric.help);
        for (const ControllerMetrics* controller : std::as_const(controllers))
            metric.add(*controller, family);
        text += family.Text();
    }
    Family build("ravelin_build_info", "gauge", "The hub's version and the Qt that it runs on.");
    for (const ControllerMetrics* controller : std::as_const(controllers))
        build.Add(controller->name, {{"version", input.version}, {"qt", QString::fromLatin1(qVersion())}}, 1);
    return text + build.Text();
}
