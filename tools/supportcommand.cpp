// What a technician needs to see who cannot come: gathered into one archive, without passwords. What cannot be found
// out is told in its place, since that may be the very fault.

#include "supportcommand.h"

#include "clock.h"
#include "command.h"
#include "log.h"
#include "newfile.h"
#include "person.h"
#include "registerdatabase.h"
#include "secrets.h"
#include "settingscheck.h"
#include "texts.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSqlError>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QVariant>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 MostLogBytes = 512 * 1024;
constexpr auto LastSweeps =
    "SELECT date_r, time_r, count(*), sum(CASE WHEN status = 0 THEN 1 ELSE 0 END), "
    "sum(CASE WHEN status = 1 THEN 1 ELSE 0 END), sum(CASE WHEN status = 2 THEN 1 ELSE 0 END), "
    "sum(CASE WHEN status = 3 THEN 1 ELSE 0 END), sum(CASE WHEN status = 255 THEN 1 ELSE 0 END) "
    "FROM \"Main_Data\" WHERE date_r >= (SELECT max(date_r) FROM \"Main_Data\" WHERE date_r < "
    "(SELECT max(date_r) FROM \"Main_Data\")) GROUP BY date_r, time_r ORDER BY date_r, time_r"_L1;

QString About(const QString& settingsName)
{
    return u"ravelinctl %1\nQt %2\n%3, %4 %5, %6\n%7\nuser %8\nsettings %9\n"_s.arg(
        QCoreApplication::applicationVersion(), QString::fromLatin1(qVersion()), QSysInfo::prettyProductName(),
        QSysInfo::kernelType(), QSysInfo::kernelVersion(), QSysInfo::currentCpuArchitecture(),
        CurrentDateTime().toString(Qt::ISODate), Person::Looking().user, settingsName);
}

/// All that a program says, both streams in their order.
QString Said(const QString& program, const QStringList& arguments)
{
    constexpr int LongestMs = 120000;
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    process.closeWriteChannel();
    if (!process.waitForFinished(LongestMs)) {
        const QString why = process.errorString();
        process.kill();
        process.waitForFinished();
        return u"%1: %2\n"_s.arg(program, why);
    }
    return QString::fromUtf8(process.readAll());
}

QString OwnCommand(const QStringList& words, const QString& settingsName)
{
    return Said(QCoreApplication::applicationFilePath(), words + QStringList{u"-settings"_s, settingsName});
}

QString EndOfLog(const QString& name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return u"%1: %2\n"_s.arg(name, file.errorString());
    if (file.size() > MostLogBytes) {
        file.seek(file.size() - MostLogBytes);
        file.readLine(); // the rest of a line
    }
    return QString::fromUtf8(file.readAll());
}

/// Of the last two days that have any.
QString Sweeps(const SysVar& vars)
{
    RegisterDatabase database(vars);
    if (!database.OpenToRead())
        return database.Error() + u'\n';
    QSqlQuery query(database.Connection());
    if (!query.exec(LastSweeps))
        return query.lastError().text() + u'\n';
    QString text = u"date time rows status: 0 1 2 3 255\n"_s;
    while (query.next()) {
        QStringList columns;
        for (int i = 0; i < 8; ++i)
            columns.append(query.value(i).toString());
        text += columns.join(u' ') + u'\n';
    }
    return text;
}

QMap<QString, QString> Gathered(const QString& settingsName, const SettingsCheck& settings)
{
    const QString log = settings.LogName();
    return {{u"about.txt"_s, About(settingsName)},
        {u"check.txt"_s, OwnCommand({u"check"_s, u"--settings-in-force"_s}, settingsName)},
        {u"schedule.txt"_s, OwnCommand({u"schedule"_s}, settingsName)},
        {u"register.txt"_s, OwnCommand({u"register"_s, u"check"_s}, settingsName)},
        {u"sweeps.txt"_s, Sweeps(settings.Vars())},
        {u"log.txt"_s, EndOfLog(log.isEmpty() ? TLog::getDirPathDefault(u"ravelin"_s) : log)}};
}

bool WriteTexts(const QString& directory, const QMap<QString, QString>& texts, const QStringList& secrets)
{
    for (auto text = texts.begin(); text != texts.end(); ++text) {
        QFile file(directory + u'/' + text.key());
        const QByteArray bytes = WithoutSecrets(text.value(), secrets).toUtf8();
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.flush()) {
            Complain(file.fileName() + ": "_L1 + file.errorString());
            return false;
        }
    }
    return true;
}

bool Pack(const QString& directory, const QString& archive)
{
    QProcess tar;
    tar.start(u"tar"_s,
        {u"--create"_s, u"--gzip"_s, u"--file"_s, archive, u"--directory"_s, directory, u"--owner=0"_s, u"--group=0"_s,
            u"ravelin-support"_s});
    const bool isDone = tar.waitForFinished(-1) && tar.exitStatus() == QProcess::NormalExit && tar.exitCode() == 0;
    if (!isDone)
        Complain(u"tar: "_s + QString::fromLocal8Bit(tar.readAllStandardError()).simplified() + tar.errorString());
    return isDone;
}

int Gather(const QString& settingsName, NewFile& archive)
{
    const QTemporaryDir place;
    const QString directory = place.filePath(u"ravelin-support"_s);
    if (!place.isValid() || !QDir().mkdir(directory))
        return ComplainOfAll({place.errorString()});
    if (!archive.Begin())
        return ComplainOfAll({archive.Error()});
    const SettingsCheck settings(settingsName);
    const QMap<QString, QString> texts = Gathered(settingsName, settings);
    if (!WriteTexts(directory, texts, settings.Secrets()) || !Pack(place.path(), archive.Path()))
        return Problems;
    if (!archive.Finish())
        return ComplainOfAll({archive.Error()});
    Tell(Texts::tr("Gathered without passwords: %1.").arg(texts.keys().join(", "_L1)));
    return Done;
}

} // namespace

int RunSupport(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Gathers into an archive, FILE.tar.gz, what a technician needs to see: the settings without\n"
                  "passwords, what \"check\" and \"schedule\" say, the last sweeps and the end of the log. Look at it\n"
                  "before you send it: it names places and meters."),
        CommandLine::Takes::NewFile);
    line.AddFlag(u"replace"_s, Texts::tr("Takes the place of a file of that name."));
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const CommandLine::SettingsChoice choice = line.ChooseSettings();
    if (choice.name.isEmpty())
        return ComplainOfAll({choice.remark});
    NewFile archive(
        line.FileName(), line.HasFlag(u"replace"_s) ? NewFile::Existing::IsReplaced : NewFile::Existing::Stays);
    return Gather(choice.name, archive);
}
