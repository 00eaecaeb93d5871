#pragma once

#include "completeness.h"
#include "monthuse.h"

/// What each meter used in a month, and why not.
struct Bill {
    QDate month; ///< its first day
    QList<LedgerMeter> meters; ///< by place
    QList<MeterUse> uses; ///< by place
    QList<ReadingCounts> counts; ///< by place; may be shorter
    QList<LedgerMeter> meterOfFinding; ///< by the places of findings

    /// Those that have a use.
    [[nodiscard]] int Billed() const;

    /// In words, why a meter has none; empty when it has one.
    [[nodiscard]] QString ReasonOf(const MeterUse& use) const;
};

[[nodiscard]] QString BillAsTable(const Bill& bill);
[[nodiscard]] QString BillAsCsv(const Bill& bill);
[[nodiscard]] QString BillAsJson(const Bill& bill);
