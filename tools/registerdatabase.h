#pragma once

#include "meterregister.h"
#include "sitedatabase.h"

#include <QTime>

#include <optional>

/// The daemon's database, open for a tool until the object goes. An operation that fails leaves tables and rows as they
/// were and the reason in Error(). One object at a time.
class RegisterDatabase final : public SiteDatabase {
public:
    explicit RegisterDatabase(const SysVar& settings);

    enum class Missing { Fails, IsMade };

    /// With `IsMade` an SQLite file that is not there is made, and the directories to it.
    [[nodiscard]] bool Open(Missing file);

    /// What keeps the daemon from working with it, a sentence each; the meters in the register are not judged.
    [[nodiscard]] QStringList Problems();

    /// A sentence each.
    struct Creation {
        QStringList report;
        QStringList problems; ///< when there are any, nothing was made
        explicit operator bool() const { return problems.isEmpty(); }
    };
    /// Makes what is not there of tables, indexes and views, and leaves the rest alone, if the daemon can work with the
    /// whole.
    [[nodiscard]] Creation CreateSchema();

    /// What the collector did on the newest day in the database. Nothing is known of a day without clock queries.
    struct LastDay {
        QList<QTime> clocksAsked; ///< when each meter that answered was asked for its clock, ascending
        int silent = 0; ///< meters without a reading, on average of the query sweeps
    };
    [[nodiscard]] LastDay ReadLastDay();

    /// All or nothing.
    [[nodiscard]] bool Write(const RegisterChange& change);
    /// All or nothing.
    [[nodiscard]] bool Remove(const QList<RegisterRow>& rows);

private:
    template <typename Work>
    [[nodiscard]] bool InTransaction(Work work);
    [[nodiscard]] bool MakeDirectory();
    [[nodiscard]] QStringList FilesNotWritable() const;
    [[nodiscard]] QStringList RightsMissing();
    [[nodiscard]] bool CreateObject(const QString& statement, QStringList& report);
    [[nodiscard]] std::optional<bool> Finds(const QString& statement);
    [[nodiscard]] bool LetShrink();
    [[nodiscard]] bool SwitchWriteAheadLogOn(QStringList& report);
    [[nodiscard]] bool WriteEach(const QList<RegisterRow>& rows, QSqlQuery& query, const QString& statement);
};
