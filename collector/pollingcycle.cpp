// What a tick of the poll timer decides: set clocks, start a sweep, ask the silent meters again, close a sweep. Answers
// arrive in between (responses.cpp); a tick only looks at what they left in the database.

#include "clock.h"
#include "collector.h"
#include "delay.h"
#include "log.h"
#include "maindatabase.h"
#include "metermodel.h"
#include "nodecommands.h"
#include "schedule.h"
#include "statements.h"
#include "timing.h"

#include <QCoreApplication>
#include <QDebug>
#include <QSet>
#include <QTimer>

using namespace Qt::StringLiterals;
using MainBase::ColumnOf;
using MainBase::Execute;
using MainBase::InLiteral;

namespace {

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
    LookAtSchedule(now);

    if (due.clockSetting)
        SetMeterClocks();
    switch (vars.field.Has(FieldConduct::Order) ? SweepsInOrder(now) : Sweeps(now)) {
    case TimeSweepStart::NtpCheckUnfinished:
        return; // polling stays stopped until the process is started again: given so; not to be repaired
    case TimeSweepStart::NobodyToAsk:
        pollTimer->start();
        return;
    case TimeSweepStart::Done:
        break;
    }
    CloseCompleteSweep();
    emit SendBroadcastMessage(NodeCommands::Empty.toByteArray());
    pollTimer->start();
}

/// As a sweep falls due, so it begins, whatever else is open.
TCollector::TimeSweepStart TCollector::Sweeps(const QDateTime& now)
{
    const TimeSweepStart start = StartTimeSweepWhenDue(now);
    if (start != TimeSweepStart::Done)
        return start;
    CheckOpenSweep();
    StartQuerySweepWhenDue(now);
    return start;
}

/// No tick looks at the minutes that pass while the tick before lasts. What was due in them is not done later.
void TCollector::TellWhatWasMissed() const
{
    QStringList missed;
    for (const QDateTime& minute : minutes.passed)
        for (const auto& [pattern, what] : {std::pair(vars.TimeOfSetTime, tr("clock setting")),
                 {vars.TimeOfGetTime, tr("time sweep")}, {vars.TimeOfQuery, tr("query sweep")}})
            if (Schedule::IsDueIn(pattern, minute))
                missed.append(what + u' ' + Schedule::Stamp(minute));
    if (!missed.isEmpty())
        Log(tr("Due while the tick before lasted, and not made: %1").arg(missed.join(", "_L1)), Severity::Warning);
}

/// What is due in this tick's minute.
void TCollector::LookAtSchedule(const QDateTime& now)
{
    minutes = MinutesSince(minutes.now, now);
    if (vars.field.Has(FieldConduct::Schedule) || vars.field.Has(FieldConduct::Order)) {
        LookAtScheduleOnce();
        return;
    }
    due = {Schedule::IsDueIn(vars.TimeOfSetTime, now), Schedule::IsDueIn(vars.TimeOfGetTime, now),
        Schedule::IsDueIn(vars.TimeOfQuery, now)};
    TellWhatWasMissed();
}

TCollector::TimeSweepStart TCollector::StartTimeSweepWhenDue(const QDateTime& now)
{
    const bool deferredStart = sweep.timeSweepActive && sweep.repeatCount < 1 && !sweep.querySweepActive;
    if (!due.timeSweep && !deferredStart)
        return TimeSweepStart::Done;
    sweep.timeSweepActive = true;
    if (sweep.querySweepActive)
        return TimeSweepStart::Done; // starts on a later tick, when the query sweep is closed
    const TimeSweepStart start = StartTimeSweep(now);
    // Without anybody to ask the sweep is not closed. The next tick takes it for the last query sweep under today's
    // date, asks that one's silent meters again and closes it a second time: given so; the settings mend it.
    if (start == TimeSweepStart::NobodyToAsk)
        sweep.timeSweepActive = false;
    return start;
}

TCollector::TimeSweepStart TCollector::StartTimeSweep(const QDateTime& now)
{
    due.timeSweep = false;
    if (sweep.open)
        CreateTemporaryDB_time(); // clears timeSweepActive: a sweep that interrupts another is checked as a query sweep
    sweep.Open(now);
    if (!StoreReferenceClock())
        return TimeSweepStart::NtpCheckUnfinished;

    const QStringList needed = NodesWithoutClockReading();
    if (needed.isEmpty() || vars.RepeatQueryNumber <= sweep.repeatCount)
        return TimeSweepStart::NobodyToAsk;
    AskForClocks(needed);
    queryRequested = false;
    return TimeSweepStart::Done;
}

QStringList TCollector::NodesWithoutClockReading()
{
    const QStringList all = ColumnOf(Execute(Statements::NodeMeters));
    timeAnswered = ColumnOf(Execute(Statements::ClockReadSince, sweep.sweepDate));
    return Without(all, timeAnswered);
}

void TCollector::AskForClocks(const QStringList& uins)
{
    BatchBegins(tr("clock query"), uins.size());
    ToEach(uins, PacedRound::Until::Reported, vars.UCAST_to_UCAST_Delay, [this](const QString& uin) {
        const std::optional<Meter> meter = NodeMeter(uin);
        if (!meter)
            return false;
        LogText(meter->model);
        SendTimeQuery(uin, *meter);
        return true;
    });
    WaitForMeters(MonotonicMs());
    ReadOut(uins, CollectorTiming::ClockReadOutPauseMs);
}

void TCollector::CheckOpenSweep()
{
    if (!sweep.open)
        return;
    const QStringList silent = SilentNodes();
    if (silent.isEmpty() || vars.RepeatQueryNumber <= sweep.repeatCount)
        CloseSweep();
    else
        AskAgain(silent);
}

QStringList TCollector::SilentNodes() const
{
    const QStringList all = ColumnOf(Execute(Statements::NodeMeters));
    const bool clocks = sweep.CurrentKind() == Sweep::Kind::Time;
    return Without(all, clocks ? timeAnswered : ColumnOf(AboutSweep(Statements::AnsweredInSweep, sweep.Stamp())));
}

void TCollector::CloseSweep()
{
    if (sweep.CurrentKind() == Sweep::Kind::Time) {
        sweep.timeSweepActive = false;
        sweep.open = !CreateTemporaryDB_time();
    } else {
        sweep.querySweepActive = false;
        sweep.open = !CreateTemporaryDB();
    }
    sweep.repeatCount = 0;
}

void TCollector::AskAgain(const QStringList& silent)
{
    qDebug("Repeat query...");
    LogText(tr("Repeat query..."));
    BatchBegins(tr("query again"), silent.size());
    ToEach(silent, PacedRound::Until::Reported, vars.UCAST_to_UCAST_Delay, [this](const QString& uin) {
        LogText(tr("%1 not send data...").arg(uin));
        if (sweep.CurrentKind() == Sweep::Kind::Time)
            SendTimeQuery(uin, NodeMeter(uin).value_or(Meter{}));
        else
            SendToNode(uin, NodeCommands::Measure.toByteArray());
        return true;
    });
    WaitForMeters(MonotonicMs());
    ReadOut(silent, vars.UCAST_to_UCAST_Delay);
    ++sweep.repeatCount;
}

void TCollector::StartQuerySweepWhenDue(const QDateTime& now)
{
    const bool deferredStart = sweep.querySweepActive && sweep.repeatCount < 1 && !sweep.timeSweepActive;
    if (!due.querySweep && !queryRequested && !deferredStart)
        return;
    sweep.querySweepActive = true;
    if (!sweep.timeSweepActive) // otherwise it starts in the tick that closes the time sweep
        StartQuerySweep(now);
}

void TCollector::StartQuerySweep(const QDateTime& now)
{
    due.querySweep = false;
    LogText(tr("Begin questioning..."));
    if (sweep.open)
        CreateTemporaryDB();
    ForgetReports();
    sweep.Open(now);
    sweep.sweepTime = now.toString(u"hh:mm:ss"_s);

    window = RadioWindow(vars.field.Window());
    emit SendBroadcastMessage(NodeCommands::Measure.toByteArray());
    const qint64 measuring = MonotonicMs();
    qDebug("Broadcast query...");
    if (!vars.field.Has(FieldConduct::Substation) || SubstationGlobalId() != 0)
        StoreSubstationReading();
    qDebug("KTP ok");
    WaitForMeters(measuring);
    qDebug("Begin query of counters");
    ReadOut(ColumnOf(Execute(Statements::NodeMeters)), vars.UCAST_to_UCAST_Delay);
    queryRequested = false;
}

void TCollector::ForgetReports()
{
    if (vars.field.Has(FieldConduct::Reports))
        QCoreApplication::processEvents(); // those that have come by now
    reports.SweepBegins();
    for (const QString& uin : ColumnOf(Execute(Statements::NodeMeters)))
        reports.Forget(uin.toUtf8());
}

void TCollector::StoreSubstationReading()
{
    const std::optional<Energy> reading = ReadSubstationPatiently();
    for (const QString& id : ColumnOf(Execute(Statements::SubstationGlobalIds))) {
        const QString globalId = QString::number(id.toInt());
        if (reading)
            StoreReading(globalId, *reading, sweep.Stamp());
        else
            StoreSubstationSilence(globalId);
    }
    if (!reading) {
        LogText(tr("Not received data from KTP"));
        return;
    }
    LogText(tr("KTP Data: %1").arg(reading->total));
    if (!vars.field.PacedByAnswers())
        Delay(vars.UCAST_to_UCAST_Delay);
    QCoreApplication::processEvents();
}

std::optional<Energy> TCollector::ReadSubstationPatiently()
{
    Energy energy;
    BatchBegins(tr("substation meter, try"), vars.RepeateQueryKTPNumber + 1);
    for (int triesLeft = vars.RepeateQueryKTPNumber;
         !ReadPowerFromKTP(energy.total, energy.t1, energy.t2, energy.t3, energy.t4); --triesLeft) {
        if (triesLeft == 0)
            return std::nullopt;
        Delay(vars.UCAST_to_UCAST_Delay);
        QCoreApplication::processEvents();
    }
    return energy;
}

/// Tells each node to send what it holds.
void TCollector::ReadOut(const QStringList& uins, unsigned int pauseMs)
{
    BatchBegins(tr("read-out"), uins.size());
    ToEach(uins, PacedRound::Until::Answered, pauseMs, [this](const QString& uin) {
        PrepareReadOut(uin);
        SendToNode(uin, NodeCommands::ReadOut.toByteArray());
        return true;
    });
}

void TCollector::SendTimeQuery(const QString& uin, const Meter& meter)
{
    timeQuerySent.insert(uin, CurrentDateTime());
    const MeterModel* const model = FindMeterModel(meter.model);
    SendToNode(uin, model && model->timeQuery ? model->timeQuery(meter.number.toUInt()) : QByteArray());
}

std::optional<TCollector::Meter> TCollector::NodeMeter(const QString& uin)
{
    QSqlQuery row = Execute(Statements::NumberAndModelOf, InLiteral(uin));
    if (!row.next())
        return std::nullopt;
    return Meter{row.value(0).toString(), row.value(1).toString()};
}
