#include "journal.h"

#include <QDebug>

#include <cstdio>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace {

FILE* journal = nullptr;
QString lastText;
Journal::Source lastSource{};

// The manager says which file it reads, "device:inode": a descriptor that was led elsewhere is not the journal.
bool IsJournal(int descriptor)
{
    struct stat file = {};
    return ::fstat(descriptor, &file) == 0
        && qgetenv("JOURNAL_STREAM") == QByteArray::number(file.st_dev) + ':' + QByteArray::number(file.st_ino);
}

void Print(Severity severity, QString text)
{
    while (text.endsWith(u'\n') || text.endsWith(u'\r'))
        text.chop(1);
    text.replace(u'\n', u' ').replace(u'\r', u' ');
    std::fprintf(journal, "<%d>%s\n", static_cast<int>(severity), qUtf8Printable(text));
    std::fflush(journal);
}

void PrintDebugOutput(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    const bool isProblem = type == QtWarningMsg || type == QtCriticalMsg;
    const Severity severity = type == QtFatalMsg ? Severity::Error : isProblem ? Severity::Warning : Severity::Debug;
    Print(severity, qFormatLogMessage(type, context, text));
}

} // namespace

void Journal::Attach()
{
    journal = nullptr;
    if (IsJournal(STDERR_FILENO)) {
        journal = stderr;
        qInstallMessageHandler(PrintDebugOutput);
    } else if (IsJournal(STDOUT_FILENO)) {
        journal = stdout;
    }
}

void Journal::Write(Severity severity, const QString& text, Source source)
{
    if (!journal)
        return;
    const bool isToldTwice = source != lastSource && text == lastText;
    lastText = isToldTwice ? QString() : text;
    lastSource = source;
    if (!isToldTwice)
        Print(severity, text);
}

bool Journal::IsStderr()
{
    return journal == stderr;
}
