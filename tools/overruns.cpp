#include "overruns.h"

#include "fieldconduct.h"
#include "texts.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;
using AirtimePlan::Case;
using AirtimePlan::Site;

const std::array<Task, 3> Tasks{{
    {ClockSetting, QT_TRANSLATE_NOOP("ravelinctl", "clock setting"), QLatin1StringView("TimeOfSetTime"),
        &SysVar::TimeOfSetTime,
        [](const Site& site, Case answers) { return std::optional(AirtimePlan::ClockSettingMs(site, answers)); }},
    {TimeSweep, QT_TRANSLATE_NOOP("ravelinctl", "time sweep"), QLatin1StringView("TimeOfGetTime"),
        &SysVar::TimeOfGetTime, AirtimePlan::TimeSweepMs},
    {QuerySweep, QT_TRANSLATE_NOOP("ravelinctl", "query sweep"), QLatin1StringView("TimeOfQuery"), &SysVar::TimeOfQuery,
        AirtimePlan::QuerySweepMs},
}};

namespace {

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

QString Sentence(const Site& site, quint8 dues, const Calendar::Gap& gap, Case answers)
{
    const auto length = [&](const Site& other) { return TogetherMs(dues, other, answers); };
    const int fitting = AirtimePlan::NodesThatFit(site, gap.start.msecsTo(gap.end), length);
    const QString text = answers == Case::Best
        ? Texts::tr("the %1 of %2 cannot be over before %3: %4 at best; meters behind nodes that would fit: %5")
        : Texts::tr("the %1 of %2 may not be over before %3: %4 at worst; meters behind nodes that would fit: %5");
    return text.arg(TaskNames(dues), MinuteText(gap.start), MinuteText(gap.end), DurationText(length(site)),
        QString::number(fitting));
}

} // namespace

QString DurationText(std::optional<qint64> ms)
{
    if (!ms)
        return Texts::tr("no end");
    const double seconds = static_cast<double>(*ms) / 1000.0;
    return Texts::tr("%1 s (%2 min)").arg(seconds, 0, 'f', 1).arg(seconds / 60, 0, 'f', 1);
}

QString TaskNames(quint8 dues)
{
    QStringList names;
    for (const Task& task : Tasks)
        if (dues & task.due)
            names.append(Texts::tr(task.name));
    return names.join(Texts::tr(" and "));
}

QString MinuteText(const QDateTime& time)
{
    return time.toString(u"yyyy-MM-dd hh:mm"_s);
}

QList<Overrun> Overruns(const Site& site, const Calendar& calendar, const QDateTime& from)
{
    QList<Overrun> overruns;
    const auto gaps = calendar.TightestGaps(from);
    for (quint8 dues = 0; const std::optional<Calendar::Gap>& gap : gaps) {
        const auto isTooLong = [&](Case answers) {
            const std::optional<qint64> ms = TogetherMs(dues, site, answers);
            return !ms || *ms > gap->start.msecsTo(gap->end);
        };
        for (const Case answers : {Case::Best, Case::Worst})
            if (gap && isTooLong(answers))
                overruns.append({answers, Sentence(site, dues, *gap, answers)});
        ++dues;
    }
    return overruns;
}

QString WhatWouldFit(const Site& site, const Calendar& calendar, const QDateTime& from)
{
    const auto fits = [&](const Site& other) {
        const QList<Overrun> overruns = Overruns(other, calendar, from);
        return std::none_of(
            overruns.begin(), overruns.end(), [](const Overrun& overrun) { return overrun.answers == Case::Best; });
    };
    Site heard = site;
    heard.neverHeard = 0;
    if (site.neverHeard > 0 && fits(heard))
        return u"Remedies=ce102"_s;
    for (int window = site.window + 1; window <= FieldConduct::MostInWindow; ++window) {
        const QString pacing = u"Pacing=answers, Window=%1"_s.arg(window);
        for (auto [other, remedy] : {std::pair(site, QString()), {heard, u", Remedies=ce102"_s}}) {
            other.window = window;
            if (fits(other))
                return pacing + remedy;
        }
    }
    return {};
}
