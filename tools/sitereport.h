#pragma once

#include "ledgersite.h"
#include "ledgerwords.h"

/// What is told of a day or a month.
struct SiteReport {
    DayRange range;
    QTime deadline; ///< of the day after
    QList<LedgerMeter> meters; ///< by place
    QList<DayCounts> days; ///< of the range
    QList<ReadingFinding> readings;
    QList<LedgerMeter> meterOfReading; ///< by place in `readings`
    QList<MeterClock> clocks;
    int unreadable = 0; ///< rows whose time is none

    [[nodiscard]] ReadingCounts Sum() const;
    [[nodiscard]] QList<ReadingCounts> ByMeter() const;
    /// Of the meters' clocks only those that exceed a limit, or of which rows came that are no time.
    [[nodiscard]] QList<MeterClock> OddClocks() const;
};

[[nodiscard]] QString ReportAsText(const SiteReport& report);
/// A line for each meter and day; only counts.
[[nodiscard]] QString ReportAsCsv(const SiteReport& report);
[[nodiscard]] QString ReportAsJson(const SiteReport& report);
