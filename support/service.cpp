#include "service.h"

#include "clock.h"
#include "ending.h"
#include "log.h"
#include "necessity.h"

#include <QCoreApplication>
#include <QTimer>

#include <algorithm>
#include <utility>

#include <systemd/sd-daemon.h>

using namespace Qt::StringLiterals;

namespace {

struct Manager {
    bool isThere = false;
    qint64 tellEveryMs = 0; ///< 0: it does not watch over this process
    qint64 lastTold = 0;
    QString status;
    QString batch; ///< what its messages are for
    qsizetype messagesOfBatch = 0;
    Necessity connection;
    bool standstillTold = false;
};

Manager manager;

QString Translated(const char* text)
{
    return QCoreApplication::translate("Service", text);
}

void Tell(const QString& state)
{
    if (!manager.isThere)
        return;
    const int result = ::sd_notify(0, state.toUtf8().constData());
    if (result < 0)
        manager.connection.Fails(Translated(QT_TRANSLATE_NOOP("Service", "The service manager cannot be told: %1"))
                                     .arg(qt_error_string(-result)));
    else
        manager.connection.Works(Translated(QT_TRANSLATE_NOOP("Service", "The service manager can be told again")));
}

// A quarter of the time that it allows: the longest waits that look at nothing leave room enough.
qint64 TellEveryMs()
{
    constexpr uint64_t LongestMs = 60000;
    uint64_t allowedUs = 0;
    if (::sd_watchdog_enabled(0, &allowedUs) <= 0)
        return 0;
    return static_cast<qint64>(std::clamp<uint64_t>(allowedUs / 4000, 1, LongestMs));
}

void TellOfStandstill()
{
    if (std::exchange(manager.standstillTold, true))
        return;
    const QString text = Translated(
        QT_TRANSLATE_NOOP("Service", "No work is done (%1; for %2 s): the service manager is to start the daemon anew"))
                             .arg(manager.status, QString::number(Service::Work().PauseMs() / 1000));
    Necessity().Fails(text);
    Log(text, Severity::Error);
}

} // namespace

void Service::Install()
{
    manager = Manager();
    manager.isThere = qEnvironmentVariableIsSet("NOTIFY_SOCKET");
    manager.tellEveryMs = manager.isThere ? TellEveryMs() : 0;
    if (manager.tellEveryMs == 0)
        return;
    manager.lastTold = MonotonicMs();
    Ending::WatchWhileWaiting(qApp, Look);
    auto* const timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, Look);
    timer->start(static_cast<int>(manager.tellEveryMs));
}

void Service::Ready()
{
    if (!manager.isThere)
        return;
    Tell(u"READY=1"_s);
    Ending::BeforeLeaving(qApp, [] { Tell(u"STOPPING=1"_s); });
}

void Service::Status(const QString& text)
{
    if (text == manager.status)
        return;
    manager.status = text;
    Tell("STATUS="_L1 + QString(text).replace(u'\n', u' '));
}

void Service::BatchBegins(const QString& what, qsizetype messages)
{
    manager.batch = what;
    manager.messagesOfBatch = messages;
    Work().BatchBegins(messages);
}

void Service::Step()
{
    const std::optional<qsizetype> number = Work().Step();
    if (number && manager.isThere)
        Status(Translated(QT_TRANSLATE_NOOP("Service", "%1 %2 of %3"))
                   .arg(manager.batch, QString::number(*number), QString::number(manager.messagesOfBatch)));
}

void Service::TickBegins()
{
    Work().TickBegins();
}

void Service::TickEnds(bool nextComes)
{
    Work().TickEnds(nextComes);
    Status(nextComes ? Translated(QT_TRANSLATE_NOOP("Service", "waiting"))
                     : Translated(QT_TRANSLATE_NOOP("Service", "polling has ended")));
}

void Service::Look()
{
    if (manager.tellEveryMs == 0 || MonotonicMs() - manager.lastTold < manager.tellEveryMs)
        return;
    manager.lastTold = MonotonicMs();
    if (!Work().Works()) {
        TellOfStandstill();
        return;
    }
    manager.standstillTold = false;
    Tell(u"WATCHDOG=1"_s);
}

Liveness& Service::Work()
{
    static Liveness work;
    return work;
}
