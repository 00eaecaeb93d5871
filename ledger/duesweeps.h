#pragma once

#include "monthplan.h"
#include "walltime.h"

#include <QList>

/// A minute in which the schedule names a sweep.
struct DueSweep {
    QDateTime at; ///< wall time
    int times = 1; ///< 2 in the hour that comes twice
};

/// All of a day, in order. The hour that summer time leaves out has none.
[[nodiscard]] QList<DueSweep> DueSweepsOf(QDate day, const MonthPlan& plan, const WallZone& zone);
