#include "billcommand.h"

#include "bill.h"
#include "ledgersite.h"
#include "progress.h"
#include "siteoptions.h"
#include "texts.h"

using namespace Qt::StringLiterals;

namespace {

const auto ConnectionName = u"bill"_s;
constexpr int MinutesOfDeadline = 0; // nothing here asks what came in time

/// Its first day; by default the last month that is over. Invalid when the option names none that has begun.
QDate MonthOf(const CommandLine& line, QDate today)
{
    const QString text = line.Option(u"month"_s);
    if (text.isEmpty())
        return QDate(today.year(), today.month(), 1).addMonths(-1);
    const QDate month = QDate::fromString(text + u"-01"_s, u"yyyy-MM-dd"_s);
    return month <= today ? month : QDate();
}

QString (*FormatOf(const QString& name))(const Bill& bill)
{
    for (const auto& [known, format] :
        {std::pair(u"table"_s, &BillAsTable), {u"csv"_s, &BillAsCsv}, {u"json"_s, &BillAsJson}})
        if (name == known)
            return format;
    return nullptr;
}

/// None when the database failed.
std::optional<Bill> BillOf(LedgerSite& site, QDate month)
{
    std::optional<SweepOutcomes> outcomes = site.Outcomes(month);
    if (!outcomes)
        return std::nullopt;
    Completeness completeness(MinutesOfDeadline);
    Plausibility plausibility({}, site.Zone());
    MonthUse use(month);
    MeterList seen(site.Meters());
    Progress progress(Texts::tr("Reading"));
    const DayRange range{month.addDays(-MonthUse::DaysBefore), month.addMonths(1).addDays(-1)};
    const double days = static_cast<double>(range.first.daysTo(range.last)) + 2;
    const bool isRead = site.EachDay(range, [&](QDate day, const StoredDay& sweeps) {
        progress.Reached(static_cast<double>(range.first.daysTo(day)) / days);
        use.AddDay(sweeps, seen);
        plausibility.AddDay(sweeps, seen);
        if (day >= month)
            for (const SweepOutcome& outcome : outcomes->AddDay(day, sweeps, site.Now()))
                completeness.Add(outcome, outcomes->Meters());
    });
    if (!isRead)
        return std::nullopt;
    // Meters that only the days before name are no matter of this month.
    Bill bill{.month = month, .meters = outcomes->Meters(), .uses = {}, .counts = {}, .meterOfFinding = seen.All()};
    QHash<qint32, MeterUse> uses;
    for (const MeterUse& one : use.Uses(seen.All(), plausibility.Findings()))
        uses.insert(seen.All()[one.place].globalId, one);
    for (qsizetype place = 0; place < bill.meters.size(); ++place) {
        MeterUse one = uses.value(bill.meters[place].globalId);
        one.place = place;
        bill.uses.append(one);
    }
    bill.counts.resize(bill.meters.size());
    for (const DayCounts& day : completeness.Days())
        if (day.day < month.addMonths(1))
            for (qsizetype place = 0; place < day.meters.size(); ++place)
                bill.counts[place] += day.meters[place];
    return bill;
}

} // namespace

int RunBill(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Tells what each meter used in a month, all tariffs and each: from which reading until which, "
                  "and of every\nmeter without a use the reason. Of the daemon's database, or of one controller "
                  "at a centre.\nExit code: 0 every meter has a use, 3 some have none, 1 the rows cannot be "
                  "read, 2 wrong usage."),
        CommandLine::Takes::Nothing);
    AddSiteOptions(line);
    line.AddOption(
        u"month"_s, Texts::tr("month"), Texts::tr("The month, yyyy-MM (default: the last one that is over)."), {});
    line.AddOption(u"format"_s, Texts::tr("format"), Texts::tr("table, csv or json (default: table)."), u"table"_s);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const std::optional<SiteChoice> choice = ChosenSite(line);
    if (!choice)
        return Problems;
    LedgerSite site(choice->vars, ConnectionName, choice->centre);
    if (!site.IsOpen())
        return ComplainOfAll({site.Error()});
    const QDate month = MonthOf(line, site.Now().date());
    const auto format = FormatOf(line.Option(u"format"_s));
    if (!month.isValid() || !format) {
        Complain(Texts::tr("--month takes a month yyyy-MM that has begun, --format table, csv or json."));
        return WrongUsage;
    }
    const std::optional<Bill> bill = BillOf(site, month);
    if (!bill)
        return ComplainOfAll({site.Error()});
    Tell(format(*bill));
    return bill->Billed() == bill->uses.size() ? static_cast<int>(Done) : Found;
}
