#include "ledgersite.h"

#include "calendar.h"
#include "clock.h"
#include "ledgermeters.h"

using namespace Qt::StringLiterals;

LedgerSite::LedgerSite(const SysVar& vars, const QString& connection, const CentreView& centre)
    : database(vars, connection, centre),
      rows(database.Connection()),
      plan(Calendar(vars).PlanOf(QuerySweep)),
      zone(QTimeZone::systemTimeZone())
{
    const QDateTime local = CurrentDateTime();
    now = WallTime(local.date(), local.time());
    if (!database.OpenToRead())
        return;
    const auto registered = database.Rows();
    if (!registered)
        return;
    meters = LedgerMetersOf(*registered, vars.field.Has(FieldConduct::Ce102));
    isOpen = true;
}

bool LedgerSite::EachDay(const DayRange& range, const std::function<void(QDate, const StoredDay&)>& use)
{
    const QDate last = std::min(range.last.addDays(1), now.date());
    for (QDate day = range.first; day <= last; day = day.addDays(1)) {
        const std::optional<StoredDay> sweeps = rows.Day(day);
        if (!sweeps)
            return false;
        use(day, *sweeps);
    }
    return true;
}

std::optional<SweepOutcomes> LedgerSite::Outcomes(QDate first)
{
    const auto before = rows.MetersBefore(first);
    if (!before)
        return std::nullopt;
    return SweepOutcomes(meters, *before, plan, zone);
}

QString LedgerSite::Error() const
{
    return isOpen ? database.Name() + ": "_L1 + rows.Error() : database.Error();
}
