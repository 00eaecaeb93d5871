#include "schedulecommand.h"

#include "airtimeplan.h"
#include "calendar.h"
#include "clock.h"
#include "command.h"
#include "registerdatabase.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using AirtimePlan::Case;
using AirtimePlan::Site;

namespace {

struct Task {
    Due due;
    QLatin1StringView name;
    QLatin1StringView key;
    QString SysVar::*pattern;
    std::optional<qint64> (*ms)(const Site& site, Case answers);
};

constexpr std::array<Task, 3> Tasks{{
    {ClockSetting, QLatin1StringView("clock setting"), QLatin1StringView("TimeOfSetTime"), &SysVar::TimeOfSetTime,
        [](const Site& site, Case) { return std::optional(AirtimePlan::ClockSettingMs(site)); }},
    {TimeSweep, QLatin1StringView("time sweep"), QLatin1StringView("TimeOfGetTime"), &SysVar::TimeOfGetTime,
        AirtimePlan::TimeSweepMs},
    {QuerySweep, QLatin1StringView("query sweep"), QLatin1StringView("TimeOfQuery"), &SysVar::TimeOfQuery,
        AirtimePlan::QuerySweepMs},
}};

QString Minute(const QDateTime& time)
{
    return time.toString(u"yyyy-MM-dd hh:mm"_s);
}

QString Names(quint8 dues)
{
    QStringList names;
    for (const Task& task : Tasks)
        if (dues & task.due)
            names.append(task.name);
    return names.join(" and "_L1);
}

QString Duration(std::optional<qint64> ms)
{
    if (!ms)
        return u"no end"_s;
    const double seconds = static_cast<double>(*ms) / 1000.0;
    return u"%1 s (%2 min)"_s.arg(seconds, 0, 'f', 1).arg(seconds / 60, 0, 'f', 1);
}

/// Of all that is due in one minute: it is done one after the other.
std::optional<qint64> TogetherMs(quint8 dues, const Site& site, Case answers)
{
    qint64 sum = 0;
    for (const Task& task : Tasks) {
        if (!(dues & task.due))
            continue;
        const std::optional<qint64> ms = task.ms(site, answers);
        if (!ms)
            return std::nullopt;
        sum += *ms;
    }
    return sum;
}

void TellMinutes(const Calendar& calendar, const SysVar& vars, const QDateTime& from, int count)
{
    for (const Task& task : Tasks) {
        Tell(u"%1, %2 \"%3\":"_s.arg(task.name, task.key, vars.*task.pattern));
        if (calendar.MinutesOf(task.due) == 0)
            Tell(u"  never"_s);
        for (const QDateTime& time : calendar.Next(task.due, from, count)) {
            const auto others = static_cast<quint8>(calendar.DueAt(time) & ~task.due);
            Tell("  "_L1 + Minute(time) + (others ? u", together with the %1"_s.arg(Names(others)) : QString()));
        }
    }
}

void TellPlan(const Site& site, const QList<RegisterRow>& rows)
{
    Tell(u"airtime, %1:"_s.arg(RegisterSummary(rows)));
    for (const Task& task : Tasks)
        Tell(u"  %1: %2 at best, %3 at worst"_s.arg(
            task.name, Duration(task.ms(site, Case::Best)), Duration(task.ms(site, Case::Worst))));
    if (site.neverHeard > 0)
        Tell(u"  At best, too, every pass is made for the meters whose answers are never stored (CE102): %1"_s.arg(
            site.neverHeard));
    if (site.substationMs == 0)
        Tell(u"  No substation meter can be read, yet every query sweep tries %1 times"_s.arg(
            site.substationRetries + 1));
    if (site.passes == 0)
        Tell(u"  With RepeatQueryNumber=0 a time sweep asks nobody"_s);
}

void Warn(const Site& site, quint8 dues, const Calendar::Gap& gap, Case answers)
{
    const auto length = [&](const Site& other) { return TogetherMs(dues, other, answers); };
    const qint64 availableMs = gap.start.msecsTo(gap.end);
    const QString how = answers == Case::Best ? u"at best"_s : u"at worst"_s;
    Tell(u"Warning: the %1 of %2 %3 over before %4: %5 %6; meters behind nodes that would fit: %7"_s.arg(Names(dues),
        Minute(gap.start), answers == Case::Best ? u"cannot be"_s : u"may not be"_s, Minute(gap.end),
        Duration(length(site)), how, QString::number(AirtimePlan::NodesThatFit(site, availableMs, length))));
}

void TellOverruns(const Site& site, const Calendar& calendar, const QDateTime& from)
{
    const auto gaps = calendar.TightestGaps(from);
    for (quint8 dues = 0; const std::optional<Calendar::Gap>& gap : gaps) {
        const auto isTooLong = [&](Case answers) {
            const std::optional<qint64> ms = TogetherMs(dues, site, answers);
            return !ms || *ms > gap->start.msecsTo(gap->end);
        };
        for (const Case answers : {Case::Best, Case::Worst})
            if (gap && isTooLong(answers))
                Warn(site, dues, *gap, answers);
        ++dues;
    }
}

} // namespace

int RunSchedule(const QStringList& words)
{
    CommandLine line(u"Tells the next minutes in which clocks are set and sweeps start, how long that takes with the\n"
                     "register and the delays as they are, and which sweeps are not over when the next one is due."_s,
        CommandLine::Takes::Nothing);
    line.AddOption(u"from"_s, u"time"_s, u"Where to begin: \"yyyy-MM-dd hh:mm\" (default: now)."_s, {});
    line.AddOption(u"count"_s, u"number"_s, u"How many minutes of each, 1 to 1000 (default 5)."_s, u"5"_s);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const QString fromText = line.Option(u"from"_s);
    const QDateTime from =
        fromText.isEmpty() ? CurrentDateTime() : QDateTime::fromString(fromText, u"yyyy-MM-dd hh:mm"_s);
    const int count = line.Option(u"count"_s).toInt();
    if (!from.isValid() || count < 1 || count > 1000) {
        Complain(u"--from takes \"yyyy-MM-dd hh:mm\", --count a number from 1 to 1000."_s);
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
    const Site site = AirtimePlan::SiteOf(*vars, *rows);
    TellPlan(site, *rows);
    TellOverruns(site, calendar, from);
    return Done;
}
