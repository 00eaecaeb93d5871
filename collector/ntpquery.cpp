#include "ntpquery.h"

#include "collector.h"
#include "delay.h"
#include "log.h"
#include "service.h"

#include <QDeadlineTimer>
#include <QStandardPaths>

#include <csignal>

#include <sys/prctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

bool NtpQuery::IsInstalled()
{
    return !QStandardPaths::findExecutable(u"ntpq"_s).isEmpty();
}

NtpQuery::NtpQuery()
{
    // A process group of its own, so that it can be ended together with all that it has started. It also ends when this
    // process ends.
    process.setChildProcessModifier([] {
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    });
    Service::Status(TCollector::tr("time sweep: the time daemon is asked"));
    process.start(u"ntpq"_s, {u"-pn"_s}, QIODevice::ReadWrite);
}

NtpQuery::~NtpQuery()
{
    if (process.state() == QProcess::NotRunning)
        return;
    ::kill(-static_cast<pid_t>(process.processId()), SIGKILL);
    process.waitForFinished();
}

bool NtpQuery::Finish()
{
    constexpr int LongestWaitMs = 30000;
    constexpr int LookMs = 10;
    constexpr int PauseMs = 240; // spent in Delay(), which notices that the end of this process was requested
    const QDeadlineTimer deadline(LongestWaitMs); // on a busy machine a round takes longer than its pause
    for (int waitedMs = 0; waitedMs < LongestWaitMs && !deadline.hasExpired(); waitedMs += LookMs + PauseMs) {
        if (process.waitForFinished(LookMs))
            return true;
        if (process.error() == QProcess::FailedToStart)
            return false;
        Delay(PauseMs);
    }
    return false;
}

QByteArray NtpQuery::FindLine(const QString& server)
{
    const QByteArray address = server.toUtf8();
    for (QByteArray line = process.readLine(); !line.isEmpty(); line = process.readLine())
        if (line.contains(address))
            return line;
    return {};
}

QByteArray NtpQuery::LineOf(const QString& server)
{
    constexpr unsigned int BetweenLooksMs = 1000;
    if (server.isEmpty())
        return process.readLine();
    QByteArray line = FindLine(server);
    if (line.isNull())
        Log(TCollector::tr("ntpq does not list the NTP server %1. Polling stands still").arg(server), Severity::Error);
    for (; line.isNull(); line = FindLine(server))
        Delay(BetweenLooksMs);
    return line;
}
