#include "forwardsettings.h"

#include "centrelink.h"
#include "forwardtexts.h"
#include "log.h"
#include "settingsfile.h"
#include "sourcefile.h"

using namespace Qt::StringLiterals;

namespace {

constexpr int MostBatchRows = 10000;
constexpr int MostSeconds = 3600;

int Number(SettingsFile& file, const QString& key, int defaultValue, int most)
{
    const int value = file.Integer(key, defaultValue);
    if (value >= 1 && value <= most)
        return value;
    file.AddProblem(ForwardTexts::tr("%1 must be a number from 1 to %2, not %3").arg(key).arg(most).arg(value));
    return defaultValue;
}

void ReadSource(ForwardSettings& settings, const QString& source)
{
    SettingsFile daemon(source);
    settings.daemon = ReadSysVar(daemon);
    if (!daemon.FileProblem().isEmpty()) {
        settings.problems.append(daemon.FileProblem());
        return;
    }
    if (SourcePathOf(settings.daemon).isEmpty()) {
        settings.problems.append(
            ForwardTexts::tr("%1: BDType is \"%2\"; only rows in SQLite (sqlite3) can be delivered")
                .arg(source, settings.daemon.BDType));
        return;
    }
    settings.database = SourcePathOf(settings.daemon);
}

ForwardSettings::Register ReadRegister(SettingsFile& file)
{
    const QString which = file.Text(u"Forward/Register"_s, u"local"_s);
    if (which != "local"_L1 && which != "centre"_L1)
        file.AddProblem(ForwardTexts::tr("Register must be local or centre, not \"%1\"").arg(which));
    return which == "centre"_L1 ? ForwardSettings::Register::Centre : ForwardSettings::Register::Local;
}

} // namespace

ForwardSettings ReadForwardSettings(const QString& name)
{
    SettingsFile file(name);
    ForwardSettings settings;
    settings.file = name;
    settings.controller = file.Text(u"Forward/Controller"_s, {});
    settings.centre = file.Text(u"Forward/Centre"_s, {}).toUtf8();
    settings.batchRows = Number(file, u"Forward/BatchRows"_s, settings.batchRows, MostBatchRows);
    settings.everySeconds = Number(file, u"Forward/EverySeconds"_s, settings.everySeconds, MostSeconds);
    settings.which = ReadRegister(file);
    settings.log = file.Integer(u"Forward/Log"_s, 1) != 0;
    settings.logName = file.Text(u"Forward/LogName"_s, {});
    if (settings.logName.isEmpty())
        settings.logName = TLog::getDirPathDefault(u"ravelin-forward"_s);
    if (file.FileProblem().isEmpty()) {
        ReadSource(settings, file.Text(u"Forward/Source"_s, u"/etc/ravelin/ravelin.ini"_s));
        if (settings.controller.isEmpty())
            file.AddProblem(ForwardTexts::tr("Controller is missing: the name of this controller at the centre"));
        if (settings.centre.isEmpty())
            file.AddProblem(ForwardTexts::tr("Centre is missing: host=... dbname=... user=..."));
        else if (!CentreLink::Understands(settings.centre))
            file.AddProblem(
                ForwardTexts::tr("Centre is no connection string: words key=value with blanks between them, a value "
                                 "with blanks in single quotes"));
    }
    settings.problems += file.Problems();
    return settings;
}
