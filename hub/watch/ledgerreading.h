#pragma once

#include "ledgerbook.h"
#include "ledgerrows.h"
#include "sitedatabase.h"

#include <memory>

/// What does not change while the program runs.
struct WatchedSite {
    SysVar vars;
    MonthPlan plan; ///< of the query sweeps
    WallZone zone;
    int days = 0; ///< to look back, today among them
};

/// What a reading of the rows leaves for the next one, so that only what is new is read again.
struct LedgerDraft {
    QDate first;
    QDate today;
    QList<RegisterRow> registered;
    std::optional<LedgerBook> beforeYesterday; ///< as of the end of the day before yesterday
    std::optional<LedgerBook> yesterday; ///< as of its end
    std::optional<LedgerBook> now;
    QList<MeterClock> clocks;
    qint64 rowsYesterday = -1;
    qint64 rowsToday = -1;
    qint64 rowsOfClocks = -1;
    QDateTime upTo; ///< wall time to which sweeps were looked at
    int unreadable = 0; ///< before today
    int unreadableToday = 0;
};

/// Reads the rows once, in slices: each Step() asks for a day at most. The database is open as long as this object is
/// there.
class LedgerReading final {
public:
    /// `draft` is what the last reading that ended well left, or an empty one.
    LedgerReading(const WatchedSite& site_, const QString& connection, LedgerDraft draft_);

    enum class Result : quint8 { GoesOn, Same, New, Failed };
    /// `New`: Draft() differs from the one before. After anything but `GoesOn` this object has done its work.
    [[nodiscard]] Result Step();

    [[nodiscard]] const LedgerDraft& Draft() const { return draft; }
    /// A sentence.
    [[nodiscard]] QString Error() const { return error; }

private:
    using Stage = Result (LedgerReading::*)();

    [[nodiscard]] Result Open();
    [[nodiscard]] Result LookForNews();
    [[nodiscard]] Result ReadOldDay();
    [[nodiscard]] Result ReadYesterday();
    [[nodiscard]] Result ReadToday();
    [[nodiscard]] Result ReadClocks();
    [[nodiscard]] Result Then(Stage next);
    [[nodiscard]] Result Fail();
    [[nodiscard]] bool HaveSweepsEndedSince(const QDateTime& time) const;
    void BeginAnew(const QList<RegisterRow>& registered);

    const WatchedSite& site;
    SiteDatabase database;
    LedgerRows rows;
    LedgerDraft draft;
    Stage stage = &LedgerReading::Open;
    QDateTime now; ///< wall time
    QDate nextDay; ///< of the old ones
    bool areClocksNew = false;
    QString error;
};
