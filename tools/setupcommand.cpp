// One way from the installed package to a daemon that can be started. Whatever stands already is left, so that it may
// be run again.

#include "setupcommand.h"

#include "checkcommand.h"
#include "command.h"
#include "iniedit.h"
#include "newfile.h"
#include "registercommands.h"
#include "schedulecommand.h"
#include "settingsconnection.h"
#include "setupquestions.h"
#include "texts.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>

#include <grp.h>
#include <pwd.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// The example that comes with the program, comments and all; or what stands.
QString TextOf(const QString& fileName)
{
    QFile file(QFileInfo::exists(fileName) ? fileName : u":/settings/ravelin.ini.example"_s);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// As it was; of a new file, so that the daemon's group may read it.
bool KeepOwnerAndMode(const QString& fileName, const QString& newName)
{
    struct stat before = {};
    const QByteArray path = QFile::encodeName(newName);
    if (::stat(QFile::encodeName(fileName).constData(), &before) == 0)
        return ::chown(path.constData(), before.st_uid, before.st_gid) == 0
            && ::chmod(path.constData(), before.st_mode & 07777) == 0;
    const group* const daemon = ::getgrnam("ravelin");
    return ::geteuid() != 0 || !daemon || ::chown(path.constData(), 0, daemon->gr_gid) == 0;
}

bool WriteSettings(const QString& fileName, const QMap<QString, QString>& changes)
{
    QString text = TextOf(fileName);
    for (auto change = changes.begin(); change != changes.end(); ++change)
        text = WithSetting(text, change.key(), change.value());
    QDir().mkpath(QFileInfo(fileName).absolutePath());
    NewFile file(fileName, NewFile::Existing::IsReplaced);
    if (!file.Begin()) {
        Complain(file.Error());
        return false;
    }
    QFile written(file.Path());
    const QByteArray bytes = text.toUtf8();
    if (!written.open(QIODevice::WriteOnly) || written.write(bytes) != bytes.size() || !written.flush()
        || !KeepOwnerAndMode(fileName, file.Path())) {
        Complain(fileName + ": "_L1 + qt_error_string(errno));
        return false;
    }
    if (!file.Finish()) {
        Complain(file.Error());
        return false;
    }
    Tell(Texts::tr("%1 is written: %2.").arg(fileName, changes.keys().join(", "_L1)));
    return true;
}

bool GiveTo(const passwd& user, const QString& path)
{
    if (::chown(QFile::encodeName(path).constData(), user.pw_uid, user.pw_gid) == 0)
        return true;
    Complain(path + ": "_L1 + qt_error_string(errno));
    return false;
}

/// What root makes of an SQLite database, the daemon could not write.
int MakeDatabase(const SysVar& vars)
{
    const QString path =
        vars.BDType == "sqlite3"_L1 ? SettingsConnection::Add(u"path"_s, vars).databaseName() : QString();
    QSqlDatabase::removeDatabase(u"path"_s);
    const QString directory = QFileInfo(path).path();
    const bool isNew = !path.isEmpty() && !QFileInfo::exists(path);
    const bool isDirectoryNew = isNew && !QFileInfo::exists(directory);
    if (const int code = InitDatabase(vars); code != Done)
        return code;
    const passwd* const user = ::geteuid() == 0 ? ::getpwnam("ravelin") : nullptr;
    if (!isNew || !user)
        return Done;
    return (!isDirectoryNew || GiveTo(*user, directory)) && GiveTo(*user, path) ? Done : Problems;
}

bool ChangesDatabase(const QMap<QString, QString>& changes)
{
    for (const QString& key : changes.keys())
        if (key.startsWith("Base/Sql"_L1) || key == "Base/BDType"_L1 || key == "Base/BaseName"_L1)
            return true;
    return false;
}

int SetUp(const QString& fileName, const QString& registerFile)
{
    SettingsFile settings(fileName);
    const SysVar vars = ReadSysVar(settings);
    if (const QStringList problems = settings.Problems(); !problems.isEmpty())
        return ComplainOfAll(problems);
    if (const int code = MakeDatabase(vars); code != Done)
        return code;
    if (!registerFile.isEmpty())
        if (const int code = ImportRegister(vars, registerFile); code != Done)
            return code;
    const QStringList named{u"-settings"_s, fileName};
    const int found = RunCheck(QStringList{u"ravelinctl check"_s} + named);
    const int planned = RunSchedule(QStringList{u"ravelinctl schedule"_s, u"--count"_s, u"1"_s} + named);
    const bool isReady = found == Done && planned == Done;
    Tell(isReady ? Texts::tr("Next: start the daemon, \"systemctl enable --now ravelin\" or \"ravelin -settings %1\".")
                       .arg(fileName)
                 : Texts::tr("Next: mend what is told above, then run this again."));
    return isReady ? Done : Problems;
}

} // namespace

int RunSetup(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Makes an installation ready: asks for what it needs to know, writes the settings, makes the\n"
                  "database, imports the register of meters, checks all of it and tells the airtime and what to do\n"
                  "next. What stands already stays, unless an option or an answer says otherwise."),
        CommandLine::Takes::Nothing);
    SetupQuestions::AddOptions(line);
    line.AddOption(u"register"_s, Texts::tr("file"), Texts::tr("The register as comma-separated values."), {});
    line.AddFlag(u"yes"_s, Texts::tr("Asks nothing: what no option names stays, or gets its default."));
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const QString named = line.Option(u"settings"_s);
    const QString fileName = named.isEmpty() ? u"/etc/ravelin/ravelin.ini"_s : named;
    const bool isNew = !QFileInfo::exists(fileName);
    const bool asks = !line.HasFlag(u"yes"_s);
    SettingsFile present = isNew ? SettingsFile() : SettingsFile(fileName);
    if (!present.FileProblem().isEmpty())
        return ComplainOfAll({present.FileProblem()});

    ::umask(0007); // what it makes is for its user and group alone
    const auto changes = SetupQuestions::Answers(line, present, isNew, asks);
    if (!changes)
        return Problems;
    if (ChangesDatabase(*changes) && !present.Text(u"Base/BaseIni"_s, {}).isEmpty())
        return ComplainOfAll({Texts::tr("The database is set in another file, %1; change it there.")
                                  .arg(present.Text(u"Base/BaseIni"_s, {}))});
    QString registerFile = line.Option(u"register"_s);
    if (registerFile.isEmpty() && asks) {
        const auto answer = SetupQuestions::Ask(Texts::tr("File with the register of meters; none leaves it"), u""_s);
        if (!answer)
            return Problems;
        registerFile = *answer;
    }
    if (changes->isEmpty())
        Tell(Texts::tr("%1 stays as it is.").arg(fileName));
    else if (!WriteSettings(fileName, *changes))
        return Problems;
    return SetUp(fileName, registerFile);
}
