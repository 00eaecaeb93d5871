#include "ledgersite.h"

#include "calendar.h"
#include "clock.h"
#include "fieldconduct.h"
#include "metermodel.h"

QList<LedgerMeter> LedgerMetersOf(const QList<RegisterRow>& rows, bool ce102Stored)
{
    QList<LedgerMeter> meters;
    for (const RegisterRow& row : rows) {
        LedgerMeter meter;
        meter.globalId = row.globalId.toInt();
        meter.uin = row.uin;
        meter.number = row.number;
        meter.model = row.model;
        meter.isSubstation = row.type.trimmed() == QLatin1StringView("1");
        if (const MeterModel* const model = FindMeterModel(row.model)) {
            meter.hasTariffs = model->hasTariffs;
            meter.clockTellsDate = model->clockTellsDate;
            meter.answersStored = model->read && (model->answersStored || ce102Stored);
        }
        meters.append(meter);
    }
    return meters;
}

LedgerSite::LedgerSite(const SysVar& vars)
    : database(vars),
      rows(database.Connected()),
      plan(Calendar(vars).PlanOf(QuerySweep)),
      zone(QTimeZone::systemTimeZone())
{
    const QDateTime local = CurrentDateTime();
    now = WallTime(local.date(), local.time());
    if (!database.OpenToRead()) {
        Complain(database.Error());
        return;
    }
    const auto registered = database.Rows();
    if (!registered) {
        Complain(database.Error());
        return;
    }
    meters = LedgerMetersOf(*registered, vars.field.Has(FieldConduct::Ce102));
    isOpen = true;
}

bool LedgerSite::EachDay(const DayRange& range, const std::function<void(QDate, const StoredDay&)>& use)
{
    const QDate last = std::min(range.last.addDays(1), now.date());
    for (QDate day = range.first; day <= last; day = day.addDays(1)) {
        const std::optional<StoredDay> sweeps = rows.Day(day);
        if (!sweeps) {
            static_cast<void>(Failed());
            return false;
        }
        use(day, *sweeps);
    }
    return true;
}

std::optional<SweepOutcomes> LedgerSite::Outcomes(QDate first)
{
    const auto before = rows.MetersBefore(first);
    if (before)
        return SweepOutcomes(meters, *before, plan, zone);
    static_cast<void>(Failed());
    return std::nullopt;
}

int LedgerSite::Failed() const
{
    return ComplainOfAll({database.Name() + QLatin1StringView(": ") + rows.Error()});
}
