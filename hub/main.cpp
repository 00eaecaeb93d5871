#include "defaultpaths.h"
#include "ending.h"
#include "heap.h"
#include "hub.h"
#include "journal.h"
#include "log.h"
#include "necessity.h"
#include "service.h"
#include "settingsfile.h"
#include "version.h"

#include <QCoreApplication>
#include <QTranslator>

#include <cstdio>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const auto HelpTemplate =
    u"Usage: ravelin-hub [-settings FILE]\n"
    "       ravelin-hub --help | --version\n"
    "\n"
    "Administers ravelin daemons of this computer and receives their sweeps: keeps the sweeps as files, and answers "
    "over\n"
    "HTTP what the daemons do and have read. It stays in the foreground until it is told to end.\n"
    "\n"
    "  -settings FILE   An ini file. Otherwise %1.\n"
    "  --settings FILE  The same.\n"
    "  --help           Prints this and ends.\n"
    "  --version        Prints the version and ends.\n"_s;

struct CommandLine {
    QString information; ///< what is to be printed instead of anything else
    QString settingsFile;
    QString problem;
};

CommandLine Read(const QStringList& arguments)
{
    CommandLine line;
    line.settingsFile = getIniNameDefault(false);
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& word = arguments[i];
        const bool isSettings = word == "-settings"_L1 || word == "--settings"_L1;
        if (word == "--help"_L1)
            return {HelpTemplate.arg(getIniNameDefault(false)), {}, {}};
        if (word == "--version"_L1)
            return {"ravelin-hub "_L1 + getTesselVersion() + u'\n', {}, {}};
        if (isSettings && i + 1 < arguments.size())
            line.settingsFile = arguments[++i];
        else if (word.startsWith("--settings="_L1))
            line.settingsFile = word.section(u'=', 1);
        else
            line.problem = isSettings ? u"%1 needs a file"_s.arg(word) : u"\"%1\" is no option"_s.arg(word);
    }
    return line;
}

void OpenLog(SettingsFile& file)
{
    const QString name = file.Text(u"Hub/LogName"_s, {});
    const int level = file.Integer(u"Hub/Log"_s, 1);
    pLog = new TLog(name.isEmpty() ? TLog::getDirPathDefault(ProgramBaseName()) : name);
    pLog->Level = level;
    pLog->Enabled(level != 0);
}

/// Also on stderr: who starts it by hand must see them.
void Report(const SettingsFile& file)
{
    for (const QString& problem : file.Problems()) {
        Necessity().Fails(problem);
        pLog->Alert(problem);
    }
}

} // namespace

int main(int argc, char* argv[])
{
    ::umask(0007); // what it makes is for its user and group alone
    KeepFreedHeap();
    Journal::Attach();
    const QCoreApplication application(argc, argv);
    const CommandLine line = Read(QCoreApplication::arguments());
    if (!line.problem.isEmpty()) {
        std::fprintf(stderr, "ravelin-hub: %s; \"ravelin-hub --help\" tells more\n", qUtf8Printable(line.problem));
        return 2;
    }
    if (!line.information.isEmpty()) {
        std::fputs(line.information.toUtf8().constData(), stdout);
        return 0;
    }
    Ending::InstallSignalHandlers();
    Service::Install();

    QTranslator translator;
    static_cast<void>(translator.load(u"Ravelin.qm"_s, u""_s, u""_s, u""_s)); // texts stay English without it
    QCoreApplication::installTranslator(&translator);

    SettingsFile file(line.settingsFile);
    OpenLog(file);
    const HubSettings settings = ReadHubSettings(file);
    QStringList announceProblems;
    const std::optional<AnnounceSettings> announce = ReadAnnounceSettings(file, announceProblems);
    for (const QString& problem : announceProblems)
        file.AddProblem(problem);
    Report(file);
    if (settings.daemons.isEmpty()) {
        const QString text =
            QCoreApplication::translate("main", "No daemon is left of the setting Daemons: there is nothing to do");
        Necessity().Fails(text);
        pLog->Alert(text, Severity::Error);
        return 1;
    }
    static auto* const hub = new Hub(settings, announce); // lives as long as the process: never deleted
    hub->Start();
    Log(QCoreApplication::translate("main", "Start Ok!"));
    Service::Ready();

    const std::optional<int> early = Ending::Requested();
    const int code = early ? *early : QCoreApplication::exec();
    Ending::Close();
    return code;
}
