// What the collector is made of, and the few things that its other files share.

#include "collector.h"

#include "busmessages.h"
#include "clock.h"
#include "connector.h"
#include "ending.h"
#include "log.h"
#include "maindatabase.h"
#include "nodeframe.h"
#include "schedule.h"
#include "serverplugin.h"
#include "service.h"
#include "statements.h"
#include "timing.h"

#include <QDebug>
#include <QTimer>

#include <utility>

using namespace Qt::StringLiterals;

TCollector::TCollector(ZUCASTBuffer* buffer, SysVar settings, TServerPlugin* owner)
    : vars(std::move(settings)),
      plugin(owner),
      ucastBuffer(buffer),
      pollTimer(new QTimer(this)),
      alarmTimer(new QTimer(this)),
      reports(
          vars.field.Has(FieldConduct::Reports) ? DeliveryReports::Match::ByNumber : DeliveryReports::Match::InOrder),
      window(vars.field.Window())
{
    constexpr int AlarmEveryMs = 2000;
    connect(pollTimer, &QTimer::timeout, this, Service::TickBegins);
    connect(pollTimer, &QTimer::timeout, this, &TCollector::timer_event);
    connect(pollTimer, &QTimer::timeout, this, [this] { Service::TickEnds(pollTimer->isActive()); });
    connect(alarmTimer, &QTimer::timeout, this, &TCollector::CheckAlarm);
    pollTimer->setTimerType(Qt::PreciseTimer); // a coarse one may be more than a second off
    pollTimer->start(CollectorTiming::TickMs);
    alarmTimer->start(AlarmEveryMs);

    Ending::BeforeLeaving(this, MainBase::Close);
    lastError = MainBase::Open(vars);
    if (lastError.isValid()) {
        const QString message = lastError.text() + " (alias name) "_L1;
        emit Error(message);
        Log(message, Severity::Error); // no slot can be connected to the signal yet
    }
    ktpGlobalId = SubstationGlobalId();
    ReportInvalidPatterns();
}

TCollector::~TCollector()
{
    MainBase::Close();
}

/// 0 when there is none.
qint32 TCollector::SubstationGlobalId()
{
    return MainBase::FirstValueOf(MainBase::Execute(Statements::SubstationGlobalIds)).toInt();
}

QSqlDatabase TCollector::MainDatabase()
{
    return MainBase::Connection();
}

QByteArray TCollector::ToC0C1(QByteArray payload)
{
    return NodeFrame::ToC0C1(payload);
}

QByteArray TCollector::FromC0C1(QByteArray in, QByteArray& rest)
{
    return NodeFrame::FromC0C1(in, rest);
}

void TCollector::NeedQuery()
{
    queryRequested = true;
}

void TCollector::LogText(const QString& text)
{
    emit LogMessage(text.toUtf8());
}

/// `messages` are to be sent for `what`; for whoever looks at the service's status.
void TCollector::BatchBegins(const QString& what, qsizetype messages) const
{
    Service::BatchBegins(sweep.CurrentKind() == Sweep::Kind::Time ? tr("time sweep: %1").arg(what) : what, messages);
}

/// The modem reports the delivery later, for one message after the other: see zACK().
void TCollector::SendToNode(const QString& uin, const QByteArray& message)
{
    Service::Step();
    const QByteArray node = uin.toUtf8();
    emit SendMessage(node, message);
    qDebug() << uin << "  " << message;
    reports.Sent(node);
}

void TCollector::SendError(qint32 globalId, int code)
{
    plugin->Connector->SetDataAll(0, BusMessages::Error(globalId, CurrentDateTime(), code));
}

void TCollector::ReportInvalidPatterns() const
{
    for (const QString& pattern : {vars.TimeOfQuery, vars.TimeOfSetTime, vars.TimeOfGetTime})
        if (const QString error = Schedule::ErrorIn(pattern); !error.isEmpty())
            Log(tr("The time pattern \"%1\" is never met: %2").arg(pattern, error), Severity::Warning);
}
