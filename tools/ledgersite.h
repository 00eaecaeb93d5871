#pragma once

#include "command.h"
#include "ledgermeter.h"
#include "ledgerrows.h"
#include "monthplan.h"
#include "registerdatabase.h"
#include "sweepoutcomes.h"
#include "walltime.h"

#include <functional>
#include <optional>

/// The exit code of a command that did its work and found something.
inline constexpr int Found = 3;

/// Days from the first to the last.
struct DayRange {
    QDate first;
    QDate last;
};

/// What the ledger has to know of a site: its schedule, its register, its rows.
class LedgerSite final {
public:
    /// Opens the daemon's database to read. On failure IsOpen() is false and the reason was told on stderr.
    explicit LedgerSite(const SysVar& vars);

    [[nodiscard]] bool IsOpen() const { return isOpen; }
    [[nodiscard]] const QList<LedgerMeter>& Meters() const { return meters; }
    [[nodiscard]] const WallZone& Zone() const { return zone; }
    [[nodiscard]] QDateTime Now() const { return now; } ///< wall time
    [[nodiscard]] LedgerRows& Rows() { return rows; }

    /// Each day of `range`, and the one after it, which completes the last sweep; none later than today. False when the
    /// database failed; the reason was told.
    [[nodiscard]] bool EachDay(const DayRange& range, const std::function<void(QDate, const StoredDay&)>& use);

    /// An empty sheet for the days from `first` on. None when the database failed; the reason was told.
    [[nodiscard]] std::optional<SweepOutcomes> Outcomes(QDate first);

    /// Complains of what the database answered. An exit code.
    [[nodiscard]] int Failed() const;

private:
    RegisterDatabase database;
    LedgerRows rows;
    QList<LedgerMeter> meters;
    MonthPlan plan;
    WallZone zone;
    QDateTime now;
    bool isOpen = false;
};

/// Meters of a register as the rules take them; `ce102Stored` as the settings have it.
[[nodiscard]] QList<LedgerMeter> LedgerMetersOf(const QList<RegisterRow>& rows, bool ce102Stored);
