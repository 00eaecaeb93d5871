#pragma once

#include "meterregister.h"
#include "sourcetable.h"

#include <QDate>
#include <QSqlDatabase>
#include <QString>
#include <QTime>

#include <optional>

class QSqlQuery;
struct SysVar;

/// The SQLite file of a daemon with these settings, whatever the links to it; empty when it has its rows elsewhere.
[[nodiscard]] QString SourcePathOf(const SysVar& vars);

/// The daemon's SQLite file, read beside the running daemon: every question is over when its function returns, so that
/// the write-ahead log can be emptied in between. An operation that fails leaves the reason in Error().
class SourceFile final {
public:
    explicit SourceFile(const QString& path);
    ~SourceFile();
    Q_DISABLE_COPY_MOVE(SourceFile)

    /// Opens it, or opens it anew when another file has its name now. True when it is open.
    [[nodiscard]] bool EnsureOpen();

    /// Rows from number `from` on, at most `most`.
    [[nodiscard]] std::optional<QList<SourceRow>> Rows(const SourceTable& table, qint64 from, int most);

    /// The number of the row that was added last; 0 when there is none.
    [[nodiscard]] std::optional<qint64> NewestRow(const SourceTable& table);
    [[nodiscard]] std::optional<qint64> OldestRow(const SourceTable& table);

    /// How many rows there are behind the one of that number.
    [[nodiscard]] std::optional<qint64> RowsBehind(const SourceTable& table, qint64 number);

    /// The register.
    [[nodiscard]] std::optional<QList<RegisterRow>> Register();

    /// The newest sweep and how many registered meters have no row in it.
    struct Sweep {
        QDate date;
        QTime time;
        int missing = 0;
    };
    /// Without a date when there is no sweep yet.
    [[nodiscard]] std::optional<Sweep> NewestSweep();

    /// Puts `rows` in the place of the whole register, all or nothing, and nothing when the newest rows are not those
    /// of `newest` any more: a sweep has begun.
    [[nodiscard]] bool ReplaceRegister(const QList<RegisterRow>& rows, const std::array<qint64, 2>& newest);

    /// Whether a question has failed since BeginLook(): what was not read must not be taken for rows that are gone.
    void BeginLook() { error.clear(); }
    [[nodiscard]] bool LookFailed() const { return !error.isEmpty(); }

    [[nodiscard]] QString Path() const { return path; }
    [[nodiscard]] QString Error() const { return path + QLatin1StringView(": ") + error; }

private:
    [[nodiscard]] bool Open();
    [[nodiscard]] bool IsStillTheFile() const;
    [[nodiscard]] bool Fail(const QString& why);
    [[nodiscard]] bool Run(QSqlQuery& query, const QString& statement);
    [[nodiscard]] std::optional<qint64> Number(const QString& statement);

    const QString path;
    QString error;
    QSqlDatabase database;
    quint64 device = 0; // that the open file is on, and its number there
    quint64 inode = 0;
};
