// Rows of yesterday may still come: its last sweep ends after midnight. Those of earlier days are read once a day.

#include "ledgerreading.h"

#include "clock.h"
#include "ledgermeters.h"
#include "localtime.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int ClockDays = 30;

bool IsSameMeter(const RegisterRow& a, const RegisterRow& b)
{
    return a.globalId == b.globalId && a.uin == b.uin && a.number == b.number && a.model == b.model && a.type == b.type;
}

bool IsSameRegister(const QList<RegisterRow>& a, const QList<RegisterRow>& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), IsSameMeter);
}

} // namespace

LedgerReading::LedgerReading(const WatchedSite& site_, const QString& connection, LedgerDraft draft_)
    : site(site_),
      database(site.vars, connection),
      rows(database.Connection()),
      draft(std::move(draft_)),
      now(WallTimeAt(CurrentDateTime()))
{
}

LedgerReading::Result LedgerReading::Step()
{
    return (this->*stage)();
}

LedgerReading::Result LedgerReading::Then(Stage next)
{
    stage = next;
    return Result::GoesOn;
}

LedgerReading::Result LedgerReading::Fail()
{
    error = rows.Error().isEmpty() ? database.Error() : database.Name() + u": "_s + rows.Error();
    return Result::Failed;
}

LedgerReading::Result LedgerReading::Open()
{
    if (!database.OpenToRead(SiteDatabase::Patience::Short))
        return Fail();
    const auto registered = database.Rows();
    if (!registered)
        return Fail();
    if (draft.now && draft.today == now.date() && IsSameRegister(draft.registered, *registered))
        return Then(&LedgerReading::LookForNews);
    BeginAnew(*registered);
    const auto before = rows.MetersBefore(draft.first);
    if (!before)
        return Fail();
    const bool areStored = site.vars.field.Has(FieldConduct::Ce102);
    draft.beforeYesterday.emplace(LedgerMetersOf(*registered, areStored), *before, site.plan, site.zone);
    return Then(&LedgerReading::ReadOldDay);
}

void LedgerReading::BeginAnew(const QList<RegisterRow>& registered)
{
    draft = {};
    draft.registered = registered;
    draft.today = now.date();
    draft.first = draft.today.addDays(1 - site.days);
    nextDay = draft.first;
}

LedgerReading::Result LedgerReading::ReadOldDay()
{
    if (nextDay >= draft.today.addDays(-1)) {
        draft.unreadable = rows.Unreadable();
        return Then(&LedgerReading::LookForNews);
    }
    const std::optional<StoredDay> day = rows.Day(nextDay);
    if (!day)
        return Fail();
    draft.beforeYesterday->AddDay(nextDay, *day, now);
    nextDay = nextDay.addDays(1);
    return Result::GoesOn;
}

LedgerReading::Result LedgerReading::LookForNews()
{
    const QDate day = draft.today.addDays(-1);
    const auto yesterday = rows.CountReadings(day, day);
    const auto today = rows.CountReadings(draft.today, draft.today);
    const auto clocks = rows.CountClocks(draft.today.addDays(1 - ClockDays), draft.today);
    if (!yesterday || !today || !clocks)
        return Fail();
    const bool isYesterdayNew = *yesterday != draft.rowsYesterday;
    const bool isTodayNew = isYesterdayNew || *today != draft.rowsToday || HaveSweepsEndedSince(draft.upTo);
    areClocksNew = *clocks != draft.rowsOfClocks;
    draft.rowsYesterday = *yesterday;
    draft.rowsToday = *today;
    draft.rowsOfClocks = *clocks;
    if (isYesterdayNew)
        return Then(&LedgerReading::ReadYesterday);
    if (isTodayNew)
        return Then(&LedgerReading::ReadToday);
    return areClocksNew ? Then(&LedgerReading::ReadClocks) : Result::Same;
}

/// Of today's. A sweep ends when the next one is due, or so many hours after its own minute.
bool LedgerReading::HaveSweepsEndedSince(const QDateTime& time) const
{
    const auto isBetween = [&](const QDateTime& end) { return time < end && end <= now; };
    for (const QDate day : {draft.today.addDays(-1), draft.today})
        for (const DueSweep& due : DueSweepsOf(day, site.plan, site.zone))
            if (isBetween(due.at) || isBetween(due.at.addSecs(SweepOutcomes::LatestStartHours * 60 * 60)))
                return true;
    return false;
}

LedgerReading::Result LedgerReading::ReadYesterday()
{
    const QDate day = draft.today.addDays(-1);
    const std::optional<StoredDay> sweeps = rows.Day(day);
    if (!sweeps)
        return Fail();
    draft.yesterday = draft.beforeYesterday;
    draft.yesterday->AddDay(day, *sweeps, now);
    return Then(&LedgerReading::ReadToday);
}

LedgerReading::Result LedgerReading::ReadToday()
{
    const int before = rows.Unreadable();
    const std::optional<StoredDay> sweeps = rows.Day(draft.today);
    if (!sweeps)
        return Fail();
    draft.unreadableToday = rows.Unreadable() - before;
    draft.now = draft.yesterday;
    draft.now->AddDay(draft.today, *sweeps, now);
    draft.upTo = now;
    if (areClocksNew)
        return Then(&LedgerReading::ReadClocks);
    return Result::New;
}

LedgerReading::Result LedgerReading::ReadClocks()
{
    const auto clocks = rows.Clocks(draft.today.addDays(1 - ClockDays), draft.today);
    if (!clocks)
        return Fail();
    draft.clocks = MeterClocks(draft.now->Meters(), *clocks, {});
    return Result::New;
}
