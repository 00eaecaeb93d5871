#pragma once

#include <QDateTime>
#include <QString>

/// When the register may be changed: between sweeps. The daemon's file does not say that a sweep is open, so this is
/// concluded from the rows and from the daemon's schedule. Pure. A sweep that somebody asks for by hand is seen from
/// its first row on only.
struct SweepGap {
    QString timeOfQuery; ///< the daemon's patterns
    QString timeOfSetTime;
    QString timeOfGetTime;
    QDateTime now; ///< local time, as the rows are
    qint64 quietMs = 0; ///< no row has been added for so long, as far as is known
    QDateTime newestSweep; ///< invalid: there is none
    int missing = 0; ///< registered meters without a row in it

    /// No sweep is open, and none is due in the next two minutes.
    [[nodiscard]] bool IsNow() const;
};
