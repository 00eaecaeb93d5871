#pragma once

#include "completeness.h"
#include "incidents.h"
#include "meterclocks.h"
#include "plausibility.h"

#include <QJsonObject>

/// Days from the first to the last.
struct DayRange {
    QDate first;
    QDate last;
};

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

/// How a wall time stands in JSON. Of an invalid one null.
using TimeText = QJsonValue (*)(const QDateTime& wall);

/// "2024-03-04 05:06:07".
[[nodiscard]] QJsonValue WallText(const QDateTime& wall);

/// Texts of strangers are made harmless.
[[nodiscard]] QJsonObject ReportObject(const SiteReport& report, TimeText time);
/// The same as text. Of two months and 200 meters it is 2 MB, and as an object 20 MB.
[[nodiscard]] QByteArray ReportJson(const SiteReport& report, TimeText time);
[[nodiscard]] QJsonObject IncidentObject(const Incident& incident, const QList<LedgerMeter>& meters, TimeText time);
