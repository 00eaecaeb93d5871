#include "ending.h"

#include "log.h"

#include <QCoreApplication>
#include <QList>
#include <QPointer>
#include <QSocketNotifier>

#include <csignal>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace {

struct Watch {
    QPointer<const QObject> owner;
    std::function<void()> look;
};

struct Closer {
    QPointer<const QObject> owner;
    std::function<void()> close;
};

std::optional<int> requestedCode;
QList<Watch> watches;
QList<Closer> closers;

volatile std::sig_atomic_t signalReceived = 0;
int signalPipe[2] = {-1, -1};

// Runs as a signal handler: nothing but async-signal-safe calls.
extern "C" void OnSignal(int number)
{
    const int savedErrno = errno;
    signalReceived = number;
    const char wake = 1;
    if (::write(signalPipe[1], &wake, 1) < 0) {
        // The pipe is full: the loop is being woken already.
    }
    errno = savedErrno;
}

void NoticeSignal()
{
    if (signalReceived == 0)
        return;
    const QString name = signalReceived == SIGINT ? QStringLiteral("SIGINT") : QStringLiteral("SIGTERM");
    Ending::Request(0, QCoreApplication::translate("Ending", "Signal %1 received. Stopping application.").arg(name));
}

void LookAround()
{
    NoticeSignal();
    for (const Watch& watch : std::as_const(watches))
        if (watch.owner)
            watch.look();
}

} // namespace

void Ending::Request(int exitCode, const QString& why)
{
    if (requestedCode)
        return;
    requestedCode = exitCode;
    Log(why);
    QCoreApplication::exit(exitCode);
}

std::optional<int> Ending::Requested()
{
    return requestedCode;
}

bool Ending::ToldBySignal()
{
    NoticeSignal();
    return signalReceived != 0;
}

void Ending::InstallSignalHandlers()
{
    if (::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        qFatal("No pipe for signals: %s", qPrintable(qt_error_string(errno)));
    auto* const notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, qApp);
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [notifier] {
        notifier->setEnabled(false);
        NoticeSignal();
    });

    struct sigaction action = {};
    action.sa_handler = OnSignal;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
    action.sa_handler = SIG_IGN; // the write that caused it fails
    for (const int number : {SIGPIPE, SIGXFSZ})
        ::sigaction(number, &action, nullptr);
}

void Ending::WatchWhileWaiting(const QObject* owner, std::function<void()> look)
{
    watches.prepend({owner, std::move(look)});
}

void Ending::BeforeLeaving(const QObject* owner, std::function<void()> close)
{
    closers.removeIf([](const Closer& closer) { return !closer.owner; });
    closers.append({owner, std::move(close)});
}

void Ending::Close()
{
    while (!closers.isEmpty()) {
        const Closer closer = closers.takeLast();
        if (closer.owner)
            closer.close();
    }
}

void Ending::LeaveIfRequested()
{
    LookAround();
    if (!requestedCode)
        return;
    Close();
    std::exit(*requestedCode);
}
