#include "checkcommand.h"

#include "command.h"
#include "installationcheck.h"
#include "settingscheck.h"

using namespace Qt::StringLiterals;

int RunCheck(const QStringList& words)
{
    CommandLine line(
        u"Tells which settings the daemon would run with, where each comes from, and everything that would\n"
        "not work: settings, serial lines, database, register, log, ntpq. Changes nothing."_s,
        CommandLine::Takes::Nothing);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const SettingsCheck settings(line.NamedSettings());
    for (const QString& sentence : settings.InForce())
        Tell(sentence);

    using namespace InstallationCheck;
    bool hasSubstationMeter = true;
    const QStringList database = DatabaseProblems(settings.Vars(), hasSubstationMeter);
    const QStringList problems = settings.Problems() + PortProblems(settings.Vars(), hasSubstationMeter) + database
        + LogProblems(settings.LogName()) + ProgramProblems();
    return problems.isEmpty() ? Done : ComplainOfAll(problems);
}
