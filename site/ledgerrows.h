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

    /// The meters with rows on the newest day before `day` that has any.
    [[nodiscard]] std::optional<QSet<qint32>> MetersBefore(QDate day);

    /// Rows whose time is none; they are in no day.
    [[nodiscard]] int Unreadable() const { return unreadable; }

    /// The database's own words.
    [[nodiscard]] QString Error() const { return error; }

private:
    [[nodiscard]] bool Ask(QSqlQuery& query, const QString& statement, const QStringList& values);

    QSqlDatabase base;
    int unreadable = 0;
    QString error;
};
