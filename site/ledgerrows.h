#pragma once

#include "meterclocks.h"
#include "storedsweep.h"

#include <QSet>
#include <QSqlDatabase>
#include <QSqlQuery>

#include <optional>

/// The rows of the daemon's database as the ledger takes them. Nothing is returned when a question fails; Error() then
/// tells why.
class LedgerRows final {
public:
    /// `database` is open, and stays so while this object is used.
    explicit LedgerRows(const QSqlDatabase& database);

    [[nodiscard]] std::optional<StoredDay> Day(QDate day);

    /// With dates asked from `first` to `last`, in the order of asking. Of what a meter sent 40 characters.
    [[nodiscard]] std::optional<QList<ClockRow>> Clocks(QDate first, QDate last);

    /// As Clocks(), of these UINs alone.
    [[nodiscard]] std::optional<QList<ClockRow>> ClocksOf(const QStringList& uins, QDate first, QDate last);

    /// Rows of one meter, by ascending stamps from `from` on and before `to`, both wall time. No more days are begun
    /// when `most` rows are there.
    [[nodiscard]] std::optional<StoredDay> OfMeter(
        qint32 globalId, const QDateTime& from, const QDateTime& to, qsizetype most);

    /// How many rows of readings the days from `first` to `last` have, and how many of clocks.
    [[nodiscard]] std::optional<qint64> CountReadings(QDate first, QDate last);
    [[nodiscard]] std::optional<qint64> CountClocks(QDate first, QDate last);

    /// The meters with rows on the newest day before `day` that has any.
    [[nodiscard]] std::optional<QSet<qint32>> MetersBefore(QDate day);

    /// Rows whose time is none; they are in no day.
    [[nodiscard]] int Unreadable() const { return unreadable; }

    /// The database's own words.
    [[nodiscard]] QString Error() const { return error; }

private:
    [[nodiscard]] std::optional<StoredDay> DayOfMeter(qint32 globalId, QDate day);
    [[nodiscard]] std::optional<QDate> DayFrom(QDate day);
    [[nodiscard]] std::optional<qint64> Count(const QString& statement, QDate first, QDate last);
    [[nodiscard]] bool Ask(QSqlQuery& query, const QString& statement, const QStringList& values);

    QSqlDatabase base;
    int unreadable = 0;
    QString error;
};
