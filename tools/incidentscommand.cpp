#include "incidentscommand.h"

#include "command.h"
#include "incidents.h"
#include "ledgersite.h"
#include "ledgerwords.h"
#include "siteoptions.h"
#include "sitereport.h"
#include "texts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

constexpr int UsualDays = 7;

void TellAsJson(const DayRange& range, const QList<Incident>& incidents, const QList<LedgerMeter>& meters)
{
    QJsonArray array;
    for (const Incident& incident : incidents)
        array.append(IncidentObject(incident, meters, WallText));
    const QJsonObject all{{u"from"_s, range.first.toString(Qt::ISODate)}, {u"to"_s, range.last.toString(Qt::ISODate)},
        {u"incidents"_s, array}};
    Tell(QString::fromUtf8(QJsonDocument(all).toJson()).trimmed());
}

void TellAsText(const DayRange& range, const QList<Incident>& incidents, const QList<LedgerMeter>& meters)
{
    Tell(Texts::tr("%1 to %2, incidents: %3")
             .arg(range.first.toString(Qt::ISODate), range.last.toString(Qt::ISODate),
                 QString::number(incidents.size())));
    for (const Incident& incident : incidents)
        Tell(LedgerWords::SentenceOf(incident, meters));
}

int Look(LedgerSite& site, const DayRange& range, bool asJson)
{
    std::optional<SweepOutcomes> outcomes = site.Outcomes(range.first);
    if (!outcomes)
        return ComplainOfAll({site.Error()});
    Incidents incidents;
    const bool read = site.EachDay(range, [&](QDate day, const StoredDay& sweeps) {
        for (const SweepOutcome& outcome : outcomes->AddDay(day, sweeps, site.Now()))
            if (outcome.due.at.date() <= range.last)
                incidents.Add(outcome, outcomes->Meters());
    });
    if (!read)
        return ComplainOfAll({site.Error()});
    const QList<Incident> found = incidents.Findings();
    (asJson ? TellAsJson : TellAsText)(range, found, outcomes->Meters());
    return found.isEmpty() ? static_cast<int>(Done) : Found;
}

} // namespace

int RunIncidents(const QStringList& words)
{
    CommandLine line(Texts::tr("Tells why readings are missing: one finding for one cause, with the sweeps and the "
                               "meters concerned.\nKnows what the rows tell: run it in the daemon's time zone and with "
                               "the settings of those days.\nExit code: 0 no incident, 3 incidents, 1 the rows cannot "
                               "be read, 2 wrong usage."),
        CommandLine::Takes::Nothing);
    AddSiteOptions(line);
    line.AddOption(u"from"_s, Texts::tr("date"), Texts::tr("The first day, yyyy-MM-dd (default: a week ago)."), {});
    line.AddOption(u"to"_s, Texts::tr("date"), Texts::tr("The last day, yyyy-MM-dd (default: today)."), {});
    line.AddFlag(u"json"_s, Texts::tr("Tells all of it as one JSON object on stdout."));
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const std::optional<SiteChoice> choice = ChosenSite(line);
    if (!choice)
        return Problems;
    LedgerSite site(choice->vars, u"ledger"_s, choice->centre);
    if (!site.IsOpen())
        return ComplainOfAll({site.Error()});
    const QDate today = site.Now().date();
    const auto date = [&line](const QString& option, QDate usual) {
        return line.Option(option).isEmpty() ? usual : QDate::fromString(line.Option(option), u"yyyy-MM-dd"_s);
    };
    const QDate last = date(u"to"_s, today);
    const DayRange range{date(u"from"_s, last.addDays(-UsualDays)), last};
    if (!range.first.isValid() || !range.last.isValid() || range.first > range.last || range.last > today) {
        Complain(Texts::tr("--from and --to take yyyy-MM-dd, in this order, and no day to come."));
        return WrongUsage;
    }
    return Look(site, range, line.HasFlag(u"json"_s));
}
