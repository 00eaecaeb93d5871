#pragma once

#include <QDateTime>
#include <QList>

#include <array>

/// One row of the readings.
struct ReadingRow {
    qint32 globalId = 0;
    int status = 0; ///< 0: a reading; anything else: none, and why
    std::array<double, 5> energy{}; ///< kWh: the total, tariffs 1 to 4

    [[nodiscard]] bool IsZero() const { return energy == std::array<double, 5>{}; }
};

/// All rows under one stamp.
struct StoredSweep {
    QDateTime stamp; ///< wall time
    QList<ReadingRow> rows; ///< in any order
};

/// Those of one day, by ascending stamps.
using StoredDay = QList<StoredSweep>;
