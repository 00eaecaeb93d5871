#include "defaultpaths.h"
#include "delay.h"
#include "deliverednotes.h"
#include "ending.h"
#include "forwarder.h"
#include "forwardtexts.h"
#include "heap.h"
#include "journal.h"
#include "log.h"
#include "service.h"
#include "sourcelock.h"
#include "statusreport.h"
#include "version.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTranslator>

#include <cstdio>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

enum ExitCode { Done = 0, Problems = 1, WrongUsage = 2, AlreadyRuns = 3 };

const auto HelpTemplate =
    u"Usage: ravelin-forward [-settings FILE] [--once | --status [--json]]\n"
    "       ravelin-forward --help | --version\n"
    "\n"
    "Delivers the rows that the daemon stores in its SQLite file to a PostgreSQL server, the centre, each exactly "
    "once.\n"
    "It stays in the foreground until it is told to end.\n"
    "\n"
    "  -settings FILE  An ini file; by default %1.\n"
    "  --once          Delivers what is there, and ends: with 1 when not all of it could be delivered.\n"
    "  --status        Tells how many rows wait, for how long, and how many were refused; the centre is not asked. "
    "Ends\n"
    "                  with 1 when no forwarder runs or its last pass failed.\n"
    "  --json          The status as JSON.\n"
    "  --help          Prints this and ends.\n"
    "  --version       Prints the version and ends.\n"_s;

struct Wishes {
    QString settings = u"/etc/ravelin/ravelin-forward.ini"_s;
    bool once = false;
    bool status = false;
    bool json = false;
    QString wrong; ///< a word that means nothing
};

Wishes WishesIn(QStringList words)
{
    Wishes wishes;
    while (!words.isEmpty()) {
        const QString word = words.takeFirst();
        if ((word == "-settings"_L1 || word == "--settings"_L1) && !words.isEmpty())
            wishes.settings = words.takeFirst();
        else if (word == "--once"_L1)
            wishes.once = true;
        else if (word == "--status"_L1)
            wishes.status = true;
        else if (word == "--json"_L1)
            wishes.json = true;
        else
            wishes.wrong = word;
    }
    if (wishes.wrong.isEmpty() && wishes.json && !wishes.status)
        wishes.wrong = u"--json"_s;
    if (wishes.wrong.isEmpty() && wishes.once && wishes.status)
        wishes.wrong = u"--once"_s;
    return wishes;
}

void Complain(const QString& sentence)
{
    if (Journal::IsStderr())
        Journal::Write(Severity::Error, sentence, Journal::Source::Necessity);
    else
        std::fprintf(stderr, "ravelin-forward: %s\n", qUtf8Printable(sentence));
}

int TellStatus(const ForwardSettings& settings, bool json)
{
    const StatusReport report(settings);
    const QString text = json ? QString::fromUtf8(QJsonDocument(report.Json()).toJson(QJsonDocument::Compact))
                              : report.Lines().join(u'\n');
    std::printf("%s\n", qUtf8Printable(text));
    return report.IsWell() ? Done : Problems;
}

int Forward(const ForwardSettings& settings, bool once)
{
    static SourceLock lock(LockPathOf(settings.database)); // until the process ends, from wherever it does
    if (const QString why = lock.Take(); !why.isEmpty()) {
        Complain(why);
        Log(why, Severity::Error);
        return AlreadyRuns;
    }
    static auto* const forwarder = new Forwarder(settings); // lives as long as the process: it ends inside of a wait
    Service::Ready();
    for (;;) {
        const bool isDone = forwarder->Pass();
        if (once)
            return isDone ? Done : Problems;
        Delay(forwarder->PauseMs()); // the process ends in here
    }
}

} // namespace

int main(int argc, char* argv[])
{
    ::umask(0007);
    KeepFreedHeap();
    Journal::Attach();
    const QCoreApplication application(argc, argv);
    const QStringList words = QCoreApplication::arguments().mid(1);
    if (words.contains("--help"_L1)) {
        std::fputs(qUtf8Printable(HelpTemplate.arg(Wishes().settings)), stdout);
        return Done;
    }
    if (words.contains("--version"_L1)) {
        std::printf("ravelin-forward %s\n", qUtf8Printable(getTesselVersion()));
        return Done;
    }
    const Wishes wishes = WishesIn(words);
    if (!wishes.wrong.isEmpty()) {
        Complain(ForwardTexts::tr("\"%1\" is not understood here; --help tells what is").arg(wishes.wrong));
        return WrongUsage;
    }
    QTranslator translator;
    static_cast<void>(translator.load(u"Ravelin.qm"_s, u""_s, u""_s, u""_s)); // texts stay English without it
    QCoreApplication::installTranslator(&translator);

    const ForwardSettings settings = ReadForwardSettings(wishes.settings);
    for (const QString& sentence : settings.problems)
        Complain(sentence);
    if (!settings.problems.isEmpty())
        return WrongUsage;
    if (wishes.status)
        return TellStatus(settings, wishes.json);
    Ending::InstallSignalHandlers();
    Service::Install();
    static TLog log(settings.logName);
    log.Enabled(settings.log);
    pLog = &log;
    const int code = Forward(settings, wishes.once);
    Ending::Close();
    return code;
}
