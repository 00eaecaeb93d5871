#include "checkcommand.h"

#include "command.h"
#include "installationcheck.h"
#include "person.h"
#include "portcheck.h"
#include "settingscheck.h"
#include "texts.h"
#include "timecheck.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;
using Weight = Finding::Weight;

namespace {

struct Report {
    Findings problems;
    Findings hints;
    bool isNamed = true; ///< the settings file, by the operator
    QStringList files;
    QList<SettingsCheck::Setting> settings;

    void Add(const Findings& findings)
    {
        for (const Finding& finding : findings)
            (finding.weight == Weight::Problem ? problems : hints).append(finding);
    }
};

Findings AroundIt(const SettingsCheck& settings, bool isScheduleSound)
{
    const SysVar& vars = settings.Vars();
    const InstallationCheck::Database database = InstallationCheck::LookAtDatabase(vars);
    const bool hasSubstationMeter = !database.rows // it may have one
        || std::any_of(
            database.rows->begin(), database.rows->end(), [](const RegisterRow& row) { return row.type == u'1'; });
    Findings findings = PortFindings(vars, hasSubstationMeter) + database.findings;
    if (database.rows && isScheduleSound)
        findings += InstallationCheck::ScheduleFindings(vars, *database.rows);
    return findings + InstallationCheck::LogFindings(settings.LogName()) + TimeFindings(vars.NtpServer);
}

Report LookAt(const CommandLine::SettingsChoice& choice)
{
    Report report;
    if (choice.name.isEmpty()) {
        report.Add({{u"settings"_s, choice.remark}});
        return report;
    }
    report.isNamed = choice.remark.isEmpty();
    for (const QString& other : choice.others)
        report.Add({{u"settings"_s,
            Texts::tr("%1 is there, too; a daemon that is started without -settings reads its bus names and its log "
                      "from /etc and the rest from there")
                .arg(other),
            Weight::Hint}});
    const SettingsCheck settings(choice.name);
    report.files = settings.FileNames();
    report.settings = settings.InForce();
    report.Add(settings.Judge());
    // What is wrong with the schedule's own keys would be told twice.
    const bool isScheduleSound = std::none_of(report.problems.begin(), report.problems.end(),
        [](const Finding& finding) { return finding.about.startsWith("Main/"_L1); });
    report.Add(AroundIt(settings, isScheduleSound));
    return report;
}

QJsonArray AsJson(const Findings& findings)
{
    QJsonArray array;
    for (const Finding& finding : findings)
        array.append(QJsonObject{{u"about"_s, finding.about}, {u"text"_s, finding.text}});
    return array;
}

void TellAsJson(const Report& report)
{
    QJsonArray settings;
    for (const SettingsCheck::Setting& setting : report.settings)
        settings.append(QJsonObject{{u"key"_s, setting.key}, {u"value"_s, setting.value},
            {u"origin"_s, setting.origin.isEmpty() ? u"default"_s : setting.origin}});
    const QJsonObject all{{u"user"_s, Person::Looking().user},
        {u"settingsFiles"_s, QJsonArray::fromStringList(report.files)}, {u"problems"_s, AsJson(report.problems)},
        {u"hints"_s, AsJson(report.hints)}, {u"settings"_s, settings}};
    Tell(QString::fromUtf8(QJsonDocument(all).toJson()).trimmed());
}

QString Summary(const Report& report)
{
    const Person person = Person::Looking();
    const QString who = person.isRoot ? Texts::tr("%1, who may open nearly everything").arg(person.user) : person.user;
    const QString names = report.files.isEmpty() ? Texts::tr("none") : report.files.join(", "_L1);
    const QString files = report.isNamed ? names : Texts::tr("%1 (no -settings was given)").arg(names);
    if (report.problems.isEmpty() && report.hints.isEmpty())
        return Texts::tr("All is well. Looked as the user %1; settings: %2.").arg(who, files);
    return Texts::tr("Problems: %1, hints: %2. Looked as the user %3; settings: %4.")
        .arg(QString::number(report.problems.size()), QString::number(report.hints.size()), who, files);
}

void TellAsText(const Report& report, bool withSettings)
{
    for (const Finding& problem : report.problems)
        Complain(problem.text);
    for (const Finding& hint : report.hints)
        Tell(Texts::tr("hint: %1").arg(hint.text));
    Tell(Summary(report));
    if (!withSettings)
        return;
    for (const SettingsCheck::Setting& setting : report.settings)
        Tell(u"%1 = %2 (%3)"_s.arg(
            setting.key, setting.value, setting.origin.isEmpty() ? Texts::tr("default") : setting.origin));
}

} // namespace

int RunCheck(const QStringList& words)
{
    CommandLine line(
        Texts::tr(
            "Looks for everything that would not work: settings, serial lines, database, register, schedule,\n"
            "bus, log, ntpq. Changes nothing. Run it as the user, and with the PATH and TMPDIR, that the daemon\n"
            "will have.\n\n"
            "Problems, on stderr, keep the daemon from its work or show a password: exit code 1. Hints, on stdout\n"
            "as \"hint: ...\", leave it 0: no log, a bus directory that everybody may write, a name without\n"
            "its directory, a key that is set twice, a serial line that the running daemon has."),
        CommandLine::Takes::Nothing);
    line.AddFlag(u"settings-in-force"_s,
        Texts::tr("Tells, too, every setting that the daemon would run with and where it comes from."));
    line.AddFlag(u"json"_s, Texts::tr("Tells all of it as one JSON object on stdout."));
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const Report report = LookAt(line.ChooseSettings());
    if (line.HasFlag(u"json"_s))
        TellAsJson(report);
    else
        TellAsText(report, line.HasFlag(u"settings-in-force"_s));
    return report.problems.isEmpty() ? Done : Problems;
}
