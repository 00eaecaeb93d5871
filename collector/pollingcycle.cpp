// What a tick of the poll timer decides: set clocks, start a sweep, ask again who stayed silent, close a sweep. Answers
// come by themselves (responses.cpp); a tick only looks at what they left in the database.

#include "clock.h"
#include "clocktexts.h"
#include "collector.h"
#include "delay.h"
#include "maindatabase.h"
#include "schedule.h"
#include "statements.h"

#include <QCoreApplication>
#include <QDebug>
#include <QTimer>

using namespace Qt::StringLiterals;
using MainBase::ColumnOf;
using MainBase::Execute;
using MainBase::InLiteral;

namespace {

const QByteArray Measure = "\xC0\x01\xC1"_ba;
const QByteArray SendReading = "\xC0\x02\xC1"_ba;
const QByteArray EmptyFrame = "\xC0\xC1"_ba;

bool Due(const QString& pattern, const QDateTime& now)
{
    return Schedule::Matches(pattern, Schedule::Stamp(now));
}

/// The members of `all` that are not in `some`, each once, in no order.
QStringList Without(const QStringList& all, const QStringList& some)
{
    return (QSet<QString>(all.begin(), all.end()) - QSet<QString>(some.begin(), some.end())).values();
}

} // namespace

void TCollector::timer_event()
{
    const QDateTime now = CurrentDateTime();
    LogText(tr("Timer event: %1").arg(Schedule::Stamp(now)));
    pollTimer->stop(); // ticks never overlap, and the next comes a whole interval after this one's end

    if (Due(vars.TimeOfSetTime, now))
        SetMeterClocks();
    switch (StartTimeSweepWhenDue(now)) {
    case TimeSweepStart::NtpCheckUnfinished:
        return; // polling stays stopped, as operators expect of a host whose time daemon hangs
    case TimeSweepStart::NobodyToAsk:
        pollTimer->start();
        return;
    case TimeSweepStart::Done:
        break;
    }
    CheckOpenSweep();
    StartQuerySweepWhenDue(now);

    emit SendBroadcastMessage(EmptyFrame);
    pollTimer->start();
}

TCollector::TimeSweepStart TCollector::StartTimeSweepWhenDue(const QDateTime& now)
{
    const bool deferredStart = timeSweepActive && repeatCount < 1 && !querySweepActive;
    if (!Due(vars.TimeOfGetTime, now) && !deferredStart)
        return TimeSweepStart::Done;
    timeSweepActive = true;
    if (querySweepActive)
        return TimeSweepStart::Done; // starts on a later tick, when the query sweep is closed

    if (SweepIsOpen())
        CreateTemporaryDB_time(); // clears timeSweepActive: a sweep that interrupts another is checked as a query sweep
    OpenSweep(now);
    if (!StoreReferenceClock())
        return TimeSweepStart::NtpCheckUnfinished;

    const QStringList needed = NodesWithoutClockReading();
    if (needed.isEmpty() || vars.RepeatQueryNumber <= repeatCount) {
        // The sweep is not closed: the next tick takes it for the last query sweep under today's date, asks that one's
        // silent meters again and closes it a second time. Its readers rely on that.
        timeSweepActive = false;
        return TimeSweepStart::NobodyToAsk;
    }
    AskForClocks(needed);
    queryRequested = false;
    return TimeSweepStart::Done;
}

QStringList TCollector::NodesWithoutClockReading()
{
    const QStringList all = ColumnOf(Execute(Statements::NodeMeters));
    timeAnswered = ColumnOf(Execute(Statements::ClockReadSince, sweepDate));
    return Without(all, timeAnswered);
}

void TCollector::AskForClocks(const QStringList& uins)
{
    constexpr unsigned int BetweenReadOutsMs = 1500;
    for (const QString& uin : uins) {
        const std::optional<Meter> meter = NodeMeter(uin);
        if (!meter)
            continue;
        LogText(meter->model);
        SendTimeQuery(uin, *meter);
    }
    Delay(vars.BCAST_to_UCAST_Delay);
    ReadOut(uins, BetweenReadOutsMs);
}

void TCollector::CheckOpenSweep()
{
    if (!SweepIsOpen())
        return;
    const QStringList silent = SilentNodes();
    if (silent.isEmpty() || vars.RepeatQueryNumber <= repeatCount)
        CloseSweep();
    else
        AskAgain(silent);
}

QStringList TCollector::SilentNodes() const
{
    const QStringList all = ColumnOf(Execute(Statements::NodeMeters));
    return Without(
        all, timeSweepActive ? timeAnswered : ColumnOf(Execute(Statements::AnsweredInSweep, sweepDate, sweepTime)));
}

void TCollector::CloseSweep()
{
    if (timeSweepActive) {
        timeSweepActive = false;
        sweepClosed = CreateTemporaryDB_time();
    } else {
        querySweepActive = false;
        sweepClosed = CreateTemporaryDB();
    }
    repeatCount = 0;
}

void TCollector::AskAgain(const QStringList& silent)
{
    qDebug("Repeat query...");
    LogText(tr("Repeat query..."));
    for (const QString& uin : silent) {
        LogText(tr("%1 not send data...").arg(uin));
        if (timeSweepActive) {
            SendTimeQuery(uin, NodeMeter(uin).value_or(Meter{}));
        } else {
            SendToNode(uin, Measure);
            Delay(vars.UCAST_to_UCAST_Delay);
        }
    }
    Delay(vars.BCAST_to_UCAST_Delay);
    ReadOut(silent, vars.UCAST_to_UCAST_Delay);
    ++repeatCount;
}

void TCollector::StartQuerySweepWhenDue(const QDateTime& now)
{
    const bool deferredStart = querySweepActive && repeatCount < 1 && !timeSweepActive;
    if (!Due(vars.TimeOfQuery, now) && !queryRequested && !deferredStart)
        return;
    querySweepActive = true;
    if (timeSweepActive)
        return; // starts in the tick that closes the time sweep

    LogText(tr("Begin questioning..."));
    if (SweepIsOpen())
        CreateTemporaryDB();
    ForgetMeterStates();
    OpenSweep(now);
    sweepTime = now.toString(u"hh:mm:ss"_s);

    emit SendBroadcastMessage(Measure);
    qDebug("Broadcast query...");
    StoreSubstationReading();
    qDebug("KTP ok");
    Delay(vars.BCAST_to_UCAST_Delay);
    qDebug("Begin query of counters");
    ReadOut(ColumnOf(Execute(Statements::NodeMeters)), vars.UCAST_to_UCAST_Delay);
    queryRequested = false;
}

void TCollector::OpenSweep(const QDateTime& now)
{
    sweepDate = now.toString(u"yyyy-MM-dd"_s);
    noSweepYet = false;
    sweepClosed = false;
    repeatCount = 0;
}

void TCollector::ForgetMeterStates()
{
    for (const QString& uin : ColumnOf(Execute(Statements::NodeMeters)))
        meterState.insert(uin.toUtf8(), NothingHeard);
}

void TCollector::StoreSubstationReading()
{
    const std::optional<Energy> reading = ReadSubstationPatiently();
    for (const QString& id : ColumnOf(Execute(Statements::SubstationGlobalIds))) {
        const QString globalId = QString::number(id.toInt());
        if (reading)
            StoreReading(globalId, *reading);
        else
            AddToSweep(
                globalId, 1, MainBase::Filled(Statements::InsertSubstationSilent, globalId, sweepDate, sweepTime));
    }
    if (!reading) {
        LogText(tr("Not received data from KTP"));
        return;
    }
    LogText(tr("KTP Data: %1").arg(reading->total));
    Delay(vars.UCAST_to_UCAST_Delay);
    QCoreApplication::processEvents();
}

std::optional<Energy> TCollector::ReadSubstationPatiently()
{
    Energy energy;
    for (int triesLeft = vars.RepeateQueryKTPNumber;
         !ReadPowerFromKTP(energy.total, energy.t1, energy.t2, energy.t3, energy.t4); --triesLeft) {
        if (triesLeft == 0)
            return std::nullopt;
        Delay(vars.UCAST_to_UCAST_Delay);
        QCoreApplication::processEvents();
    }
    return energy;
}

/// Has each node send what it holds. Answers to earlier messages are taken in between.
void TCollector::ReadOut(const QStringList& uins, unsigned int pauseMs)
{
    for (const QString& uin : uins) {
        SendToNode(uin, SendReading);
        Delay(pauseMs);
        QCoreApplication::processEvents();
    }
}

void TCollector::SendTimeQuery(const QString& uin, const Meter& meter)
{
    timeQuerySent.insert(uin, CurrentDateTime());
    SendToNode(uin, ClockTexts::TimeQuery(meter.model, meter.number.toUInt()));
    Delay(vars.UCAST_to_UCAST_Delay);
}

std::optional<TCollector::Meter> TCollector::NodeMeter(const QString& uin)
{
    QSqlQuery row = Execute(Statements::NumberAndModelOf, InLiteral(uin));
    if (!row.next())
        return std::nullopt;
    return Meter{row.value(0).toString(), row.value(1).toString()};
}
