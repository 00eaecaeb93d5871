#include "installationcheck.h"

#include "clock.h"
#include "overruns.h"
#include "registerdatabase.h"
#include "texts.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

Findings About(const QString& what, QStringList sentences)
{
    sentences.removeDuplicates(); // of a file that is no database, every table is told to be none
    Findings findings;
    for (const QString& sentence : sentences)
        findings.append({what, sentence});
    return findings;
}

} // namespace

InstallationCheck::Database InstallationCheck::LookAtDatabase(const SysVar& vars)
{
    RegisterDatabase database(vars);
    if (!database.OpenToRead())
        return {About(u"database"_s, {database.Error()}), {}};
    if (const QStringList problems = database.Problems(); !problems.isEmpty())
        return {About(u"database"_s, problems), {}};
    const auto rows = database.Rows();
    if (!rows)
        return {About(u"database"_s, {database.Error()}), {}};
    if (rows->isEmpty())
        return {About(u"register"_s, {Texts::tr("%1: no meter is registered").arg(database.Name())}), {}};
    return {About(u"register"_s, RegisterProblems(*rows)), rows};
}

// What may not fit when nobody answers is left to "ravelinctl schedule": of most sites that is true.
Findings InstallationCheck::ScheduleFindings(const SysVar& vars, const QList<RegisterRow>& rows)
{
    Findings findings;
    for (const Overrun& overrun : Overruns(AirtimePlan::SiteOf(vars, rows), Calendar(vars), CurrentDateTime()))
        if (overrun.answers == AirtimePlan::Case::Best)
            findings.append({u"schedule"_s, overrun.text});
    return findings;
}

Findings InstallationCheck::LogFindings(const QString& logName)
{
    if (logName.isEmpty())
        return {};
    QFileInfo place(logName);
    const bool isThere = place.exists();
    while (!place.exists()) // the directories to it are made
        place = QFileInfo(place.absolutePath());
    if (place.isWritable() && (isThere ? place.isFile() : place.isDir()))
        return {};
    return About(u"Base/LogName"_s, {Texts::tr("Base/LogName, %1: it cannot be written").arg(logName)});
}
