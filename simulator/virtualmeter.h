#pragma once

#include "linepeer.h"
#include "meteranswers.h"

#include <QDateTime>
#include <QList>

/// From a time on and before another; local time.
struct Span {
    QDateTime from;
    QDateTime until;
};
[[nodiscard]] bool IsWithin(const QList<Span>& spans, const QDateTime& time);

/// What goes wrong with a meter's registers.
struct RegisterFaults {
    QList<QDateTime> exchanged; ///< from then on another meter counts, from zero
    QList<QDateTime> jumps; ///< to `JumpHundredths` more, in every tariff
    QList<Span> stuck; ///< nothing is counted on the display; afterwards it shows all
    static constexpr quint32 JumpHundredths = 10'000'00;
};

/// What the simulated meters of one play have in common.
struct Conditions {
    QDateTime begin; ///< local time at Moment 0
    quint32 seed = 1;
    double driftPpm = 0; ///< of the meters' clocks; positive: they gain
};

/// The registers and the clock of a meter. The caller passes the real time, as local time; the same seed and the same
/// time give the same readings, also when the play began at another time.
class VirtualMeter final {
public:
    /// The clock is right at `begin`.
    VirtualMeter(quint32 seed, const QDateTime& begin, double driftPpm);

    /// The four tariff registers, hundredths of a kWh. Tariffs change with the hour of the day, in winter time all
    /// year. The registers run since 2014 and never fall while `now` does not.
    [[nodiscard]] MeterAnswers::Tariffs EnergyAt(const QDateTime& now) const;
    [[nodiscard]] MeterAnswers::Tariffs EnergyAt(QDateTime now, const RegisterFaults& faults) const;

    /// What the clock shows. It does not know summer time: once set it counts on.
    [[nodiscard]] QDateTime ClockAt(const QDateTime& now) const;
    void SetClock(const QDateTime& shown, const QDateTime& now);

private:
    MeterAnswers::Tariffs installed;
    quint32 dailyHundredths;
    double driftPpm;
    QDateTime setAt;
    QDateTime shownThen; // in UTC, so that it counts without leaps
};

[[nodiscard]] inline QDateTime WallTime(const QDateTime& begin, Moment now)
{
    return begin.addMSecs(now.count() / 1000);
}

/// The sum of the registers, in a meter's own width.
[[nodiscard]] quint32 Total(const MeterAnswers::Tariffs& tariffs);

/// A seed for the meter named `name`, different under each `seed`.
[[nodiscard]] quint32 SeedOf(const QByteArray& name, quint32 seed);
