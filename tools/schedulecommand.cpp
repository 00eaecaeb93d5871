#include "schedulecommand.h"

#include "clock.h"
#include "command.h"
#include "overruns.h"
#include "registerdatabase.h"
#include "texts.h"

using namespace Qt::StringLiterals;
using AirtimePlan::Case;
using AirtimePlan::Site;

namespace {

void TellMinutes(const Calendar& calendar, const SysVar& vars, const QDateTime& from, int count)
{
    for (const Task& task : Tasks) {
        Tell(u"%1, %2 \"%3\":"_s.arg(Texts::tr(task.name), task.key, vars.*task.pattern));
        if (calendar.MinutesOf(task.due) == 0)
            Tell(Texts::tr("  never"));
        for (const QDateTime& time : calendar.Next(task.due, from, count)) {
            const auto others = static_cast<quint8>(calendar.DueAt(time) & ~task.due);
            const QString minute = "  "_L1 + MinuteText(time);
            Tell(others ? Texts::tr("%1, together with the %2").arg(minute, TaskNames(others)) : minute);
        }
    }
}

void TellMeasured(const Site& site)
{
    Tell(Texts::tr("  At best means a node each %1 ms, %2 on their way")
             .arg(std::max(AirtimePlan::ReadOutMs / site.window, AirtimePlan::ReadOutLineMs))
             .arg(site.window));
    if (site.measuredMs == 0)
        return;
    Tell(Texts::tr("  As on the last day in the database, a node each %1 ms, %2 silent:")
             .arg(site.measuredMs)
             .arg(site.measuredSilent));
    for (const Task& task : Tasks)
        Tell(Texts::tr("    %1: %2").arg(Texts::tr(task.name), DurationText(task.ms(site, Case::Measured))));
}

void TellPlan(const Site& site, const QList<RegisterRow>& rows)
{
    Tell(Texts::tr("airtime, %1:").arg(RegisterSummary(rows)));
    for (const Task& task : Tasks)
        Tell(Texts::tr("  %1: %2 at best, %3 at worst")
                 .arg(Texts::tr(task.name), DurationText(task.ms(site, Case::Best)),
                     DurationText(task.ms(site, Case::Worst))));
    if (site.window > 0)
        TellMeasured(site);
    if (site.neverHeard > 0)
        Tell(Texts::tr("  At best, too, every pass is made for the meters whose answers are never stored (CE102): %1")
                 .arg(site.neverHeard));
    if (site.substationMs == 0 && site.substationRetries > 0)
        Tell(Texts::tr("  No substation meter can be read, yet every query sweep tries %1 times")
                 .arg(site.substationRetries + 1));
    if (site.passes == 0)
        Tell(Texts::tr("  With RepeatQueryNumber=0 a time sweep asks nobody"));
}

/// Exit code 1 when a sweep cannot be over in time, whoever answers.
int WarnOf(const QList<Overrun>& overruns)
{
    int code = Done;
    for (const Overrun& overrun : overruns) {
        Tell(Texts::tr("Warning: %1").arg(overrun.text));
        if (overrun.answers == Case::Best)
            code = Problems;
    }
    return code;
}

void TellWhatWouldFit(const QString& settings)
{
    if (settings.isEmpty())
        Tell(Texts::tr(
            "No setting of the group Field makes it fit: sweep less often, or spread the meters over more modems."));
    else
        Tell(Texts::tr("In the group Field this would make it fit: %1").arg(settings));
}

} // namespace

int RunSchedule(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Tells the next minutes in which clocks are set and sweeps start, how long that takes with the\n"
                  "register and the delays as they are, and which sweeps are not over when the next one is due.\n"
                  "Ends with exit code 1 when one cannot be over even if every meter answers at once."),
        CommandLine::Takes::Nothing);
    line.AddOption(u"from"_s, Texts::tr("time"), Texts::tr("Where to begin: \"yyyy-MM-dd hh:mm\" (default: now)."), {});
    line.AddOption(
        u"count"_s, Texts::tr("number"), Texts::tr("How many minutes of each, 1 to 1000 (default 5)."), u"5"_s);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const QString fromText = line.Option(u"from"_s);
    const QDateTime from =
        fromText.isEmpty() ? CurrentDateTime() : QDateTime::fromString(fromText, u"yyyy-MM-dd hh:mm"_s);
    const int count = line.Option(u"count"_s).toInt();
    if (!from.isValid() || count < 1 || count > 1000) {
        Complain(Texts::tr("--from takes \"yyyy-MM-dd hh:mm\", --count a number from 1 to 1000."));
        return WrongUsage;
    }
    const std::optional<SysVar> vars = line.Settings();
    if (!vars)
        return Problems;
    const Calendar calendar(*vars);
    TellMinutes(calendar, *vars, from, count);

    RegisterDatabase database(*vars);
    if (!database.OpenToRead())
        return ComplainOfAll({database.Error()});
    const auto rows = database.Rows();
    if (!rows)
        return ComplainOfAll({database.Error()});
    Site site = AirtimePlan::SiteOf(*vars, *rows);
    const RegisterDatabase::LastDay lastDay = database.ReadLastDay();
    site.measuredMs = AirtimePlan::MeanPauseMs(lastDay.clocksAsked, site.unicastMs);
    site.measuredSilent = lastDay.silent;
    TellPlan(site, *rows);
    const int code = WarnOf(Overruns(site, calendar, from));
    if (code != Done)
        TellWhatWouldFit(WhatWouldFit(site, calendar, from));
    return code;
}
