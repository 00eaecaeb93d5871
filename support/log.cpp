#include "log.h"

#include "clock.h"
#include "necessity.h"

#include <QDir>
#include <QFileInfo>

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

void TLog::Message(const QString& text, Severity severity)
{
    if (enabled)
        Alert(text, severity);
}

void TLog::Alert(const QString& text, Severity severity)
{
    Journal::Write(severity, text, Journal::Source::Log);
    if (file.WriteLine(Line(text))) {
        reportedError.clear();
        return;
    }
    const QString error = file.ErrorString();
    if (error != reportedError)
        Necessity().Fails(u"Cannot write the log %1: %2"_s.arg(file.Path(), error));
    reportedError = error;
}

QString TLog::getDirPathDefault(const QString& baseName)
{
    const QString name = "/ravelin/"_L1 + baseName + ".log"_L1;
    const QString systemWide = "/var/log"_L1 + name;
    return CanBeWritten(systemWide) ? systemWide : StateDirectory() + name;
}

void Log(const QString& text, Severity severity)
{
    if (pLog)
        pLog->Message(text, severity);
}
