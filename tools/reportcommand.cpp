#include "reportcommand.h"

#include "command.h"
#include "ledgermeters.h"
#include "ledgersite.h"
#include "registercsv.h"
#include "reporttext.h"
#include "siteoptions.h"
#include "texts.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int DaysBefore = 14; // are looked at, too, for what is usual and for meters that stand still
constexpr int ClockDays = 30;

/// What the options say.
struct Asked {
    DayRange range;
    QTime deadline;
    QString (*format)(const SiteReport& report) = nullptr;
    PlausibilityLimits limits;
    double atLeast = 100; ///< percent
    QString registerFile;
};

DayRange RangeOf(const CommandLine& line, QDate today)
{
    if (const QString month = line.Option(u"month"_s); !month.isEmpty()) {
        const QDate first = QDate::fromString(month + u"-01"_s, u"yyyy-MM-dd"_s);
        return {first, std::min(today, first.addMonths(1).addDays(-1))};
    }
    const QString day = line.Option(u"day"_s);
    const QDate date = day.isEmpty() ? today.addDays(-1) : QDate::fromString(day, u"yyyy-MM-dd"_s);
    return {date, date};
}

/// None, after the reason was told, when an option has no value that it takes.
std::optional<Asked> Understood(const CommandLine& line, QDate today)
{
    Asked asked;
    asked.range = RangeOf(line, today);
    const bool isRange = asked.range.first.isValid() && asked.range.first <= today
        && (line.Option(u"day"_s).isEmpty() || line.Option(u"month"_s).isEmpty());
    if (!isRange) {
        Complain(Texts::tr("Give one of --day yyyy-MM-dd and --month yyyy-MM, and no time to come."));
        return std::nullopt;
    }
    asked.deadline = QTime::fromString(line.Option(u"deadline"_s), u"hh:mm"_s);
    const QString format = line.HasFlag(u"json"_s) ? u"json"_s : line.Option(u"format"_s);
    for (const auto& [name, write] :
        {std::pair(u"text"_s, &ReportAsText), {u"json"_s, &ReportAsJson}, {u"csv"_s, &ReportAsCsv}})
        if (format == name)
            asked.format = write;
    bool areNumbers = true;
    const auto number = [&](const QString& option, double least, double most) {
        bool isNumber = false;
        const double value = line.Option(option).toDouble(&isNumber);
        areNumbers = areNumbers && isNumber && value >= least && value <= most;
        return value;
    };
    asked.limits.nodeKw = number(u"most-kw"_s, 0.001, 1e6);
    asked.limits.substationKw = number(u"substation-kw"_s, 0.001, 1e6);
    asked.atLeast = number(u"at-least"_s, 0, 100);
    asked.registerFile = line.Option(u"register"_s);
    if (asked.deadline.isValid() && asked.format && areNumbers)
        return asked;
    Complain(Texts::tr("--deadline takes hh:mm, --format text, json or csv, --at-least 0 to 100, --most-kw and "
                       "--substation-kw 0.001 to 1000000."));
    return std::nullopt;
}

/// The days before the range feed what is usual alone.
bool LookAtRows(LedgerSite& site, const Asked& asked, SiteReport& report)
{
    std::optional<SweepOutcomes> outcomes = site.Outcomes(asked.range.first);
    if (!outcomes)
        return false;
    Completeness completeness(QTime(0, 0).secsTo(asked.deadline) / 60);
    Plausibility plausibility(asked.limits, site.Zone());
    MeterList seen(site.Meters());
    const DayRange withBefore{asked.range.first.addDays(-DaysBefore), asked.range.last};
    const bool read = site.EachDay(withBefore, [&](QDate day, const StoredDay& sweeps) {
        plausibility.AddDay(sweeps, seen);
        if (day < asked.range.first)
            return;
        for (const SweepOutcome& outcome : outcomes->AddDay(day, sweeps, site.Now()))
            completeness.Add(outcome, outcomes->Meters());
    });
    report.meters = outcomes->Meters();
    report.meterOfReading = seen.All();
    for (const DayCounts& day : completeness.Days())
        if (day.day <= asked.range.last)
            report.days.append(day);
    for (const ReadingFinding& finding : plausibility.Findings())
        if (finding.until.date() >= asked.range.first && finding.since.date() <= asked.range.last)
            report.readings.append(finding);
    report.unreadable = site.Rows().Unreadable();
    return read;
}

bool LookAtClocks(LedgerSite& site, const Asked& asked, SiteReport& report)
{
    const auto rows = site.Rows().Clocks(asked.range.last.addDays(1 - ClockDays), asked.range.last);
    if (!rows)
        return false;
    report.clocks = MeterClocks(site.Meters(), *rows, {});
    return true;
}

bool LookAtRegister(const LedgerSite& site, const QString& file, SiteReport& report)
{
    if (file.isEmpty())
        return true;
    const RegisterText text = ReadRegisterCsv(file);
    if (!text.problems.isEmpty()) {
        static_cast<void>(ComplainOfAll(text.problems));
        return false;
    }
    report.readings += ChangedNumbers(LedgerMetersOf(text.rows, true), site.Meters(), site.Now());
    return true;
}

int CodeOf(const SiteReport& report, double atLeast)
{
    const ReadingCounts sum = report.Sum();
    const bool isWell = Percent(sum.read, sum.due) >= atLeast && report.readings.isEmpty()
        && report.OddClocks().isEmpty() && report.unreadable == 0;
    return isWell ? static_cast<int>(Done) : Found;
}

void AddOptions(CommandLine& line)
{
    AddSiteOptions(line);
    line.AddOption(u"day"_s, Texts::tr("date"), Texts::tr("The day, yyyy-MM-dd (default: yesterday)."), {});
    line.AddOption(u"month"_s, Texts::tr("month"), Texts::tr("A month instead, yyyy-MM."), {});
    line.AddOption(u"format"_s, Texts::tr("format"),
        Texts::tr("text, json, or csv: a line of counts for each meter and day (default: text)."), u"text"_s);
    line.AddFlag(u"json"_s, Texts::tr("The same as --format json."));
    line.AddOption(u"deadline"_s, Texts::tr("time"),
        Texts::tr("By when a day's readings are to be there, hh:mm of the day after (default 06:00)."), u"06:00"_s);
    line.AddOption(u"at-least"_s, Texts::tr("percent"),
        Texts::tr("So many of the due readings make exit code 0 (default 100)."), u"100"_s);
    line.AddOption(u"most-kw"_s, Texts::tr("kW"), Texts::tr("More behind a node is a jump (default 100)."), u"100"_s);
    line.AddOption(u"substation-kw"_s, Texts::tr("kW"),
        Texts::tr("More at the substation meter is a jump (default 2500)."), u"2500"_s);
    line.AddOption(u"register"_s, Texts::tr("file"),
        Texts::tr("An earlier register; numbers of meters that are others now are told."), {});
}

} // namespace

int RunReport(const QStringList& words)
{
    CommandLine line(Texts::tr("Tells for a day or a month which readings were due, which are there, late, or missing "
                               "and why, which\nreadings are strange, and which clocks are off. Knows what the rows "
                               "tell: run it in the daemon's time\nzone and with the settings of those days.\nExit "
                               "code: 0 all is there and nothing strange, 3 something is missing or strange, 1 the "
                               "rows cannot\nbe read, 2 wrong usage."),
        CommandLine::Takes::Nothing);
    AddOptions(line);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const std::optional<SiteChoice> choice = ChosenSite(line);
    if (!choice)
        return Problems;
    LedgerSite site(choice->vars, u"ledger"_s, choice->centre);
    if (!site.IsOpen())
        return ComplainOfAll({site.Error()});
    const std::optional<Asked> asked = Understood(line, site.Now().date());
    if (!asked)
        return WrongUsage;
    SiteReport report;
    report.range = asked->range;
    report.deadline = asked->deadline;
    if (!LookAtRows(site, *asked, report) || !LookAtClocks(site, *asked, report))
        return ComplainOfAll({site.Error()});
    if (!LookAtRegister(site, asked->registerFile, report))
        return Problems;
    Tell(asked->format(report));
    return CodeOf(report, asked->atLeast);
}
