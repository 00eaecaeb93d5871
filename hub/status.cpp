// What joins several parts: how the whole of a daemon is doing, for people and for Prometheus.

#include "clock.h"
#include "deliveryprogress.h"
#include "hub.h"
#include "momenttext.h"
#include "mqttclient.h"
#include "sourcefile.h"
#include "version.h"

#include <QJsonArray>

#include <algorithm>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

int OpenIncidents(const SiteLedger& ledger)
{
    const QMap<QString, int> open = ledger.OpenIncidents();
    return std::accumulate(open.begin(), open.end(), 0);
}

/// Of the last sweep that was due and is over: whether none was made.
bool LastDueSweepIsMissing(const SiteLedger& ledger)
{
    const QDateTime now = CurrentDateTime();
    const QJsonArray due = ledger.Sweeps(now.addDays(-2), now)[u"sweeps"_s].toArray();
    return !due.isEmpty() && due.last()[u"made"_s].toInt() == 0;
}

QJsonValue SweepOf(const Station& station)
{
    const SiteLedger::LastSweep newest = station.ledger->NewestSweep();
    const auto& told = station.lastSweep;
    if (told && (!newest.at.isValid() || told->at >= newest.at))
        return QJsonObject{{u"at"_s, MomentText(told->at)}, {u"kind"_s, u"readings"_s}, {u"meters"_s, told->meters},
            {u"read"_s, told->read}, {u"durationSeconds"_s, told->seconds}};
    if (!newest.at.isValid())
        return QJsonValue::Null;
    return QJsonObject{{u"at"_s, MomentText(newest.at)}, {u"kind"_s, u"readings"_s}, {u"meters"_s, newest.meters},
        {u"read"_s, newest.read}, {u"durationSeconds"_s, QJsonValue::Null}};
}

QJsonObject ModemOf(const SiteLedger& ledger)
{
    const QDateTime deaf = ledger.ModemDeafSince();
    const bool works = ledger.NewestSweep().read > 0;
    return {{u"state"_s,
                deaf.isValid() ? u"deaf"_s
                    : works    ? u"working"_s
                               : u"unknown"_s},
        {u"since"_s, MomentText(deaf)}};
}

QJsonObject TodayOf(const SiteLedger& ledger)
{
    const ReadingCounts today = ledger.CountsOf(CurrentDateTime().date()).Sum();
    return {{u"due"_s, today.due}, {u"read"_s, today.read}, {u"late"_s, today.late},
        {u"percent"_s, Percent(today.read, today.due)}, {u"byDeadline"_s, today.byDeadline}};
}

/// Null where no forwarder ever worked.
QJsonValue ForwarderOf(const SysVar& vars)
{
    const QString source = SourcePathOf(vars);
    if (source.isEmpty() || !HasForwarder(source))
        return QJsonValue::Null;
    const DeliveryProgress progress = ReadDeliveryProgress(source);
    qint64 waiting = 0;
    qint64 lagSeconds = 0;
    bool isKnown = true;
    for (const DeliveryProgress::Table& table : progress.tables) {
        isKnown = isKnown && table.waiting >= 0;
        waiting += table.waiting;
        lagSeconds = std::max(lagSeconds, table.lagSeconds);
    }
    return QJsonObject{{u"running"_s, progress.isRunning}, {u"problem"_s, progress.problem},
        {u"deadLetters"_s, progress.deadLetters}, {u"waiting"_s, isKnown ? QJsonValue(waiting) : QJsonValue()},
        {u"lagSeconds"_s, lagSeconds}};
}

} // namespace

QJsonObject Hub::StatusOf(const Station& station) const
{
    const DaemonLink& link = *station.link;
    const SiteLedger& ledger = *station.ledger;
    const SiteLedger::Database& database = ledger.DatabaseState();
    const QJsonArray problems = ProblemsOf(station);
    QJsonArray controllers;
    for (const auto& each : stations)
        controllers.append(each->Name());
    return {{u"controller"_s, station.Name()}, {u"controllers"_s, controllers},
        {u"now"_s, MomentText(CurrentDateTime())}, {u"version"_s, getTesselVersion()}, {u"well"_s, problems.isEmpty()},
        {u"problems"_s, problems},
        {u"daemon"_s,
            QJsonObject{{u"connected"_s, link.IsConnected()}, {u"since"_s, MomentText(link.Since())},
                {u"adminLink"_s, link.HasAdmin()}, {u"peerLink"_s, link.HasPeer()},
                {u"lastHeard"_s, MomentText(link.LastHeard())}}},
        {u"database"_s,
            QJsonObject{{u"reachable"_s, database.isReachable}, {u"kind"_s, database.kind},
                {u"error"_s, database.error.isEmpty() ? QJsonValue() : QJsonValue(database.error)}}},
        {u"modem"_s, ModemOf(ledger)}, {u"lastSweep"_s, SweepOf(station)},
        {u"nextSweep"_s, MomentText(ledger.NextSweep())}, {u"nextClockSweep"_s, MomentText(ledger.NextClockSweep())},
        {u"today"_s, TodayOf(ledger)}, {u"openIncidents"_s, OpenIncidents(ledger)},
        {u"mqtt"_s,
            QJsonObject{{u"configured"_s, station.broker != nullptr},
                {u"connected"_s, station.broker && station.broker->IsConnected()}}},
        {u"forwarder"_s, ForwarderOf(station.settings.vars)},
        {u"hub"_s, QJsonObject{{u"since"_s, MomentText(began)}, {u"version"_s, getTesselVersion()}}}};
}

/// Each keeps the work from being done; incidents that do not are counted beside.
QJsonArray Hub::ProblemsOf(const Station& station) const
{
    QJsonArray problems;
    const auto add = [&problems](QLatin1StringView key, const QString& text) {
        problems.append(QJsonObject{{u"key"_s, key}, {u"text"_s, text}});
    };
    const SiteLedger& ledger = *station.ledger;
    const SiteLedger::Database& database = ledger.DatabaseState();
    if (!station.link->HasAdmin())
        add("daemon"_L1, tr("The daemon is not connected."));
    else if (!station.link->HasPeer())
        add("peer"_L1, tr("The daemon is connected to its administrator, but not to its peer: no sweep comes."));
    if (!database.wasTried || (database.isReachable && !ledger.IsComplete()))
        add("reading"_L1, tr("The rows of the last days are still being read."));
    else if (!database.isReachable)
        add("database"_L1, database.error);
    if (const QDateTime deaf = ledger.ModemDeafSince(); deaf.isValid())
        add("modem"_L1, tr("The modem hears nobody since %1.").arg(deaf.toString(u"yyyy-MM-dd hh:mm"_s)));
    if (LastDueSweepIsMissing(ledger))
        add("sweep"_L1, tr("The last sweep that was due was not made."));
    if (sweeps.Waits() > 0)
        add("files"_L1, tr("Sweep files cannot be written; %1 wait.").arg(sweeps.Waits()));
    return problems;
}

QByteArray Hub::Metrics() const
{
    MetricsInput input{getTesselVersion(), {}};
    for (const auto& station : stations)
        input.controllers.append(MetricsOf(*station));
    return MetricsText(input);
}

ControllerMetrics Hub::MetricsOf(const Station& station) const
{
    ControllerMetrics metrics;
    metrics.name = station.Name();
    metrics.isUp = station.link->IsConnected();
    metrics.sweeps = station.sweeps;
    if (SweepMetrics& readings = metrics.sweeps[u"readings"_s]; !readings.last.isValid())
        readings.last = station.ledger->NewestSweep().at; // before the hub was started
    if (station.lastSweep)
        metrics.sweepDuration = station.lastSweep->seconds;
    metrics.sweepMeters = station.sweepMeters;
    for (const SiteLedger::MeterNow& now : station.ledger->MetersNow()) {
        MeterMetrics meter;
        meter.globalId = now.meter.globalId;
        if (now.readingAt.isValid())
            meter.lastRow = MeterRow{now.readingAt, 0, now.energy};
        if (now.clock && now.clock->IsKnown())
            meter.clockOffset = now.clock->offset;
        meter.expected = now.dueEver;
        meter.received = now.readEver;
        metrics.meters.append(meter);
    }
    metrics.incidents = station.ledger->OpenIncidents();
    metrics.alarms = station.alarms.All();
    metrics.commands = station.commands.All();
    if (station.broker)
        metrics.mqttConnected = station.broker->IsConnected();
    return metrics;
}
