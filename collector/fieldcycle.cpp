// What the settings can switch on in the polling cycle, beside the default conduct of pollingcycle.cpp.

#include "collector.h"
#include "schedule.h"
#include "zucastbuffer.h"

#include <algorithm>
#include <utility>

/// What is due stays due until it is begun. Each minute counts once, also one that passed while the tick before lasted,
/// where the settings ask for that.
void TCollector::LookAtScheduleOnce()
{
    const bool once = vars.field.Has(FieldConduct::Schedule);
    const auto isDue = [&](const QString& pattern) {
        const bool passed = once
            && std::any_of(minutes.passed.begin(), minutes.passed.end(),
                [&](const QDateTime& minute) { return Schedule::IsDueIn(pattern, minute); });
        return passed || ((minutes.isNew || !once) && Schedule::IsDueIn(pattern, minutes.now));
    };
    due.clockSetting = isDue(vars.TimeOfSetTime);
    due.timeSweep = isDue(vars.TimeOfGetTime) || due.timeSweep;
    due.querySweep = isDue(vars.TimeOfQuery) || due.querySweep;
    if (!once)
        TellWhatWasMissed();
}

/// One sweep after the other: what falls due while one is open begins when that is closed, under the stamp of the tick
/// in which it begins. A time sweep that has nobody to ask is closed at once.
TCollector::TimeSweepStart TCollector::SweepsInOrder(const QDateTime& now)
{
    due.querySweep = std::exchange(queryRequested, false) || due.querySweep;
    CheckOpenSweep();
    if (!sweep.open && due.timeSweep) {
        sweep.timeSweepActive = true;
        const TimeSweepStart start = StartTimeSweep(now);
        if (start == TimeSweepStart::NtpCheckUnfinished)
            return start;
        if (start == TimeSweepStart::NobodyToAsk)
            CloseSweep();
        CheckOpenSweep();
    }
    if (!sweep.open && due.querySweep) {
        sweep.querySweepActive = true;
        StartQuerySweep(now);
    }
    return TimeSweepStart::Done;
}

/// Its answer belongs to this sweep, and begins with what comes from now on.
void TCollector::PrepareReadOut(const QString& uin)
{
    if (sweep.CurrentKind() == Sweep::Kind::Query)
        askedIn.insert(uin, sweep.Stamp());
    if (vars.field.Has(FieldConduct::Fragments))
        ucastBuffer->SetUCAST(uin.toUtf8(), {});
}
