#include "siteledger.h"

#include "calendar.h"
#include "clock.h"
#include "heap.h"
#include "ledgermeters.h"
#include "ledgerwords.h"
#include "localtime.h"
#include "sitereport.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int MsOfMinute = 60 * 1000;
constexpr int FirstRetryMs = 5 * 1000;
constexpr int MostRetryMs = 5 * MsOfMinute;
constexpr int ClockDays = 30;

/// What stays the same of an incident while it grows. One that began before the days that are known has lost its since.
struct IncidentKey {
    Incident::Kind kind;
    QDateTime since;
    QList<qint32> meters;

    [[nodiscard]] bool IsSame(const IncidentKey& other) const
    {
        const bool isSinceKnown = since.isValid() && other.since.isValid();
        return kind == other.kind && meters == other.meters && (!isSinceKnown || since == other.since);
    }
};

IncidentKey KeyOf(const Incident& incident, const LedgerSnapshot& known)
{
    IncidentKey key{incident.kind, incident.beganBefore ? QDateTime() : incident.since, {}};
    for (const qsizetype place : incident.places)
        key.meters.append(known.book.Meters()[place].globalId);
    return key;
}

LedgerSnapshot NothingOf(const WatchedSite& site)
{
    return {LedgerBook({}, {}, site.plan, site.zone), {}, {}, {}, {}, 0};
}

} // namespace

SiteLedger::SiteLedger(const SysVar& vars, const QString& name, const SiteLedgerSettings& settings, QObject* parent)
    : QObject(parent),
      site{vars, {}, WallZone(QTimeZone::systemTimeZone()), std::max(2, settings.days)},
      calendar(std::make_unique<Calendar>(vars)),
      connection(u"ledger of "_s + name),
      deadline(settings.deadline),
      nothing(NothingOf(site))
{
    site.plan = calendar->PlanOf(QuerySweep);
    nothing = NothingOf(site);
    state.kind = vars.BDType;
    for (QTimer* const timer : {&minute, &soon})
        timer->setSingleShot(true);
    connect(&minute, &QTimer::timeout, this, &SiteLedger::Look);
    connect(&soon, &QTimer::timeout, this, &SiteLedger::Step);
}

SiteLedger::~SiteLedger() = default;

void SiteLedger::Start()
{
    Look();
}

void SiteLedger::Refresh()
{
    if (reading)
        isAskedAgain = true;
    else if (failures == 0) // else the next try has its time
        Look();
}

void SiteLedger::Look()
{
    if (reading)
        return;
    isAskedAgain = false;
    reading = std::make_unique<LedgerReading>(site, connection, lastDraft);
    soon.start(0);
}

void SiteLedger::Step()
{
    const LedgerReading::Result result = reading->Step();
    switch (result) {
    case LedgerReading::Result::GoesOn:
        soon.start(0);
        return;
    case LedgerReading::Result::Failed: {
        const QString error = reading->Error();
        reading.reset();
        Fail(error);
        return;
    }
    case LedgerReading::Result::New:
    case LedgerReading::Result::Same:
        break;
    }
    lastDraft = reading->Draft();
    reading.reset();
    failures = 0;
    SetState(true, {});
    if (result == LedgerReading::Result::New)
        TakeDraft(lastDraft);
    minute.start(isAskedAgain ? 0 : MsOfMinute);
}

void SiteLedger::Fail(const QString& why)
{
    SetState(false, why);
    minute.start(static_cast<int>(std::min<qint64>(MostRetryMs, qint64{FirstRetryMs} << std::min(failures, 10))));
    ++failures;
}

void SiteLedger::SetState(bool isReachable, const QString& error)
{
    const bool isChange = !state.wasTried || state.isReachable != isReachable || state.error != error;
    state.wasTried = true;
    state.isReachable = isReachable;
    state.error = error;
    if (isChange)
        emit DatabaseChanged();
}

void SiteLedger::TakeDraft(const LedgerDraft& draft)
{
    LedgerSnapshot snapshot{*draft.now, draft.now->IncidentsFound(), draft.clocks, draft.first, draft.today,
        draft.unreadable + draft.unreadableToday};
    const bool wasComplete = IsComplete();
    const LedgerSnapshot before = std::exchange(known, std::move(snapshot)).value_or(nothing);
    CountEver(*known);
    GiveBackFreedHeap();
    emit ReadingsChanged();
    if (wasComplete)
        TellIncidents(before);
    else
        emit IncidentsChanged();
}

void SiteLedger::TellIncidents(const LedgerSnapshot& before)
{
    const auto toJson = [](const Incident& incident, const LedgerSnapshot& of) {
        return IncidentObject(incident, of.book.Meters(), IsoText);
    };
    const auto find = [&](const Incident& incident) {
        const IncidentKey key = KeyOf(incident, *known);
        return std::find_if(before.incidents.begin(), before.incidents.end(),
            [&](const Incident& other) { return KeyOf(other, before).IsSame(key); });
    };
    QList<QJsonObject> begun;
    QList<QJsonObject> ended;
    for (const Incident& incident : known->incidents) {
        const auto old = find(incident);
        if (old == before.incidents.end())
            begun.append(toJson(incident, *known));
        else if (incident.until.isValid() && !old->until.isValid())
            ended.append(toJson(incident, *known));
    }
    for (const QJsonObject& incident : begun)
        emit IncidentBegan(incident);
    for (const QJsonObject& incident : ended)
        emit IncidentEnded(incident);
    if (!begun.isEmpty() || !ended.isEmpty() || before.incidents.size() != known->incidents.size())
        emit IncidentsChanged();
}

/// A day that is over is counted once, and never again when it is read anew.
void SiteLedger::CountEver(const LedgerSnapshot& snapshot)
{
    const QDate over = snapshot.today.addDays(-2);
    if (!everUpTo.isValid())
        everUpTo = over;
    const QList<LedgerAnswers::Sums> ended = LedgerAnswers::SumsOf(snapshot, everUpTo.addDays(1), over);
    everUpTo = std::max(everUpTo, over);
    const QList<LedgerAnswers::Sums> open = LedgerAnswers::SumsOf(snapshot, everUpTo.addDays(1), snapshot.today);
    for (qsizetype place = 0; place < open.size(); ++place) {
        Ever& counts = ever[snapshot.book.Meters()[place].globalId];
        counts.due += ended[place].due;
        counts.read += ended[place].read;
        counts.dueNow = std::max(counts.dueNow, counts.due + open[place].due);
        counts.readNow = std::max(counts.readNow, counts.read + open[place].read);
    }
}

QJsonObject SiteLedger::Meters() const
{
    return LedgerAnswers::Meters(Known());
}

QJsonObject SiteLedger::Sweeps(const QDateTime& from, const QDateTime& to) const
{
    return LedgerAnswers::Sweeps(Known(), WallTimeAt(from), WallTimeAt(to));
}

QByteArray SiteLedger::Ledger(QDate first, QDate last) const
{
    return LedgerAnswers::Report(Known(), first, last, deadline);
}

QJsonObject SiteLedger::IncidentsNow() const
{
    return LedgerAnswers::Incidents(Known());
}

QJsonObject SiteLedger::Nodes() const
{
    return LedgerAnswers::Nodes(Known(), heard, WallTimeAt(CurrentDateTime()));
}

QJsonObject SiteLedger::Clocks() const
{
    return LedgerAnswers::Clocks(Known());
}

LedgerAnswer SiteLedger::Clocks(qint64 globalId) const
{
    const std::optional<qsizetype> place = PlaceOf(globalId);
    if (!place)
        return NoSuchMeter(globalId);
    const QList<LedgerMeter>& meters = Known().book.Meters();
    QJsonArray clocks;
    for (const MeterClock& clock : Known().clocks)
        if (clock.place == *place)
            clocks.append(LedgerAnswers::ClockObject(clock, meters));
    QString reference;
    for (const LedgerMeter& meter : meters)
        if (meter.isSubstation)
            reference = meter.uin;
    SiteDatabase database(site.vars, connection + u", clocks"_s);
    LedgerRows rows(database.Connection());
    if (!database.OpenToRead(SiteDatabase::Patience::Short))
        return Away(database.Error());
    const QDate today = WallTimeAt(CurrentDateTime()).date();
    const auto read = rows.ClocksOf({meters[*place].uin, reference}, today.addDays(1 - ClockDays), today);
    if (!read)
        return Away(database.Name() + u": "_s + rows.Error());
    return QJsonObject{{u"clocks"_s, clocks},
        {u"readings"_s, LedgerAnswers::ClockReadings(ClockOffsets(meters[*place], reference, *read))}};
}

LedgerAnswer SiteLedger::Readings(qint64 globalId, const QDateTime& from, const QDateTime& to) const
{
    const std::optional<qsizetype> place = PlaceOf(globalId);
    if (!place)
        return NoSuchMeter(globalId);
    const LedgerMeter& meter = Known().book.Meters()[*place];
    SiteDatabase database(site.vars, connection + u", readings"_s);
    LedgerRows rows(database.Connection());
    if (!database.OpenToRead(SiteDatabase::Patience::Short))
        return Away(database.Error());
    const auto sweeps = rows.OfMeter(meter.globalId, WallTimeAt(from), WallTimeAt(to), MostReadings + 1);
    if (!sweeps)
        return Away(database.Name() + u": "_s + rows.Error());
    return LedgerAnswers::Readings(meter, *sweeps, MostReadings);
}

std::optional<qsizetype> SiteLedger::PlaceOf(qint64 globalId) const
{
    const QList<LedgerMeter>& meters = Known().book.Meters();
    const auto meter =
        std::find_if(meters.begin(), meters.end(), [globalId](const LedgerMeter& m) { return m.globalId == globalId; });
    return meter == meters.end() ? std::nullopt : std::optional(meter - meters.begin());
}

LedgerRefusal SiteLedger::NoSuchMeter(qint64 globalId) const
{
    if (!IsComplete())
        return Away(state.error);
    return {LedgerRefusal::Kind::NoSuchMeter, u"there is no meter %1 in the register or the rows"_s.arg(globalId)};
}

LedgerRefusal SiteLedger::Away(const QString& why) const
{
    return {LedgerRefusal::Kind::DatabaseAway, why.isEmpty() ? u"the rows are being read for the first time"_s : why};
}

void SiteLedger::SetKnownNodes(const QStringList& uins)
{
    for (const QString& uin : uins)
        if (!heard.contains(uin) && heard.size() < MostNodes)
            heard.insert(uin, {});
}

void SiteLedger::NodeHeard(const QString& uin, const QDateTime& at)
{
    if (heard.contains(uin) || heard.size() < MostNodes)
        heard.insert(uin, at);
}

QList<SiteLedger::MeterNow> SiteLedger::MetersNow() const
{
    const LedgerSnapshot& of = Known();
    const QList<LedgerAnswers::Sums> sums = LedgerAnswers::SumsOf(of, of.first, of.today);
    QList<MeterNow> meters;
    for (qsizetype place = 0; place < sums.size(); ++place) {
        MeterNow now;
        now.meter = of.book.Meters()[place];
        const LedgerBook::LastRows rows = of.book.Last().value(now.meter.globalId);
        now.readingAt = LocalTime(rows.readAt);
        now.energy = rows.energy;
        now.asked = LocalTime(rows.asked);
        now.status = rows.status;
        now.due = sums[place].due;
        now.read = sums[place].read;
        now.dueEver = ever.value(now.meter.globalId).dueNow;
        now.readEver = ever.value(now.meter.globalId).readNow;
        meters.append(now);
    }
    for (const MeterClock& clock : of.clocks)
        if (clock.IsKnown())
            meters[clock.place].clock = clock;
    return meters;
}

DayCounts SiteLedger::CountsOf(QDate day) const
{
    const QList<DayCounts> days = LedgerAnswers::CountsOf(Known(), day, day, deadline);
    return days.isEmpty() ? DayCounts{day, 0, 0, {}} : days.constFirst();
}

SiteLedger::LastSweep SiteLedger::NewestSweep() const
{
    const LedgerBook::Newest& newest = Known().book.NewestSweep();
    return {LocalTime(newest.stamp), newest.meters, newest.read};
}

QDateTime SiteLedger::NextSweep() const
{
    return calendar->Next(QuerySweep, CurrentDateTime().addSecs(60), 1).value(0);
}

QDateTime SiteLedger::NextClockSweep() const
{
    return calendar->Next(TimeSweep, CurrentDateTime().addSecs(60), 1).value(0);
}

QMap<QString, int> SiteLedger::OpenIncidents() const
{
    QMap<QString, int> open;
    for (size_t kind = 0; kind < KindsOfIncident; ++kind)
        open.insert(LedgerWords::KeyOf(static_cast<Incident::Kind>(kind)), 0);
    for (const Incident& incident : Known().incidents)
        if (!incident.until.isValid())
            ++open[LedgerWords::KeyOf(incident.kind)];
    return open;
}

QDateTime SiteLedger::ModemDeafSince() const
{
    for (const Incident& incident : Known().incidents)
        if (!incident.until.isValid()
            && (incident.kind == Incident::Kind::ModemDeaf || incident.kind == Incident::Kind::AllSilent))
            return LocalTime(incident.since);
    return {};
}
