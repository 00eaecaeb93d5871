#pragma once

#include "ledgermeter.h"
#include "ledgerrows.h"
#include "monthplan.h"
#include "sitedatabase.h"
#include "sitereport.h"
#include "sweepoutcomes.h"
#include "walltime.h"

#include <functional>
#include <optional>

/// What the ledger has to know of a site: its schedule, its register, its rows.
class LedgerSite final {
public:
    /// Opens the daemon's database to read, on a connection of that name. On failure IsOpen() is false and Error()
    /// tells why.
    LedgerSite(const SysVar& vars, const QString& connection, const CentreView& centre = {});

    [[nodiscard]] bool IsOpen() const { return isOpen; }
    [[nodiscard]] const QList<LedgerMeter>& Meters() const { return meters; }
    [[nodiscard]] const WallZone& Zone() const { return zone; }
    [[nodiscard]] QDateTime Now() const { return now; } ///< wall time
    [[nodiscard]] LedgerRows& Rows() { return rows; }

    /// Each day of `range`, and the one after it, which completes the last sweep; none later than today. False when the
    /// database failed.
    [[nodiscard]] bool EachDay(const DayRange& range, const std::function<void(QDate, const StoredDay&)>& use);

    /// An empty sheet for the days from `first` on. None when the database failed.
    [[nodiscard]] std::optional<SweepOutcomes> Outcomes(QDate first);

    /// What the database answered when it failed; a sentence that begins with its name.
    [[nodiscard]] QString Error() const;

private:
    SiteDatabase database;
    LedgerRows rows;
    QList<LedgerMeter> meters;
    MonthPlan plan;
    WallZone zone;
    QDateTime now;
    bool isOpen = false;
};
