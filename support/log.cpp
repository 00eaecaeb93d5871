#include "log.h"

#include "clock.h"

#include <QDir>
#include <QFileInfo>

#include <cstdio>

using namespace Qt::StringLiterals;

TLog* pLog = nullptr;

namespace {

QByteArray Line(const QString& text)
{
    QString folded = text;
    while (folded.endsWith(u'\n') || folded.endsWith(u'\r'))
        folded.chop(1);
    folded.replace(u'\r', u' ').replace(u'\n', u' ');
    return (CurrentDateTime().toString(u"yyyy-MM-ddThh:mm:ss.zzz"_s) + u' ' + folded).toUtf8();
}

bool CanBeWritten(const QString& path)
{
    const QFileInfo file(path);
    return file.exists() ? file.isFile() && file.isWritable() : QFileInfo(file.path()).isWritable();
}

QString StateDirectory()
{
    const QString state = qEnvironmentVariable("XDG_STATE_HOME");
    return state.startsWith(u'/') ? state : QDir::homePath() + "/.local/state"_L1;
}

} // namespace

TLog::TLog(const QString& fileName) : file(fileName) { }

void TLog::Message(const QString& text)
{
    if (enabled)
        Alert(text);
}

void TLog::Alert(const QString& text)
{
    if (file.WriteLine(Line(text))) {
        reportedError.clear();
        return;
    }
    const QString error = file.ErrorString();
    if (error != reportedError)
        std::fprintf(stderr, "Cannot write the log %s: %s\n", qUtf8Printable(file.Path()), qUtf8Printable(error));
    reportedError = error;
}

QString TLog::getDirPathDefault(const QString& baseName)
{
    const QString name = "/ravelin/"_L1 + baseName + ".log"_L1;
    const QString systemWide = "/var/log"_L1 + name;
    return CanBeWritten(systemWide) ? systemWide : StateDirectory() + name;
}

void Log(const QString& text)
{
    if (pLog)
        pLog->Message(text);
}
