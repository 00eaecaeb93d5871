#pragma once

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>

struct SysVar;

/// The collector's one database connection and all that runs on it. A failing statement yields no rows. The log tells
/// why, once for each reason until a statement of its kind works again, and then that it does.
namespace MainBase {

/// Whether the log tells of a failure. Some statements must fail: readers of the tables rely on it.
enum class Failure { Told, Expected };

/// A new connection of that name to the database of `vars`, not open yet. With an unknown kind of database there is
/// none.
[[nodiscard]] QSqlDatabase Add(const QString& connection, const SysVar& vars);

/// Registers and opens the connection. On failure it stays registered, and each use tries to open it again; with an
/// unknown kind of database there is none.
[[nodiscard]] QSqlError Open(const SysVar& vars);
void Close();

/// Opened again if it was closed.
[[nodiscard]] QSqlDatabase Connection();

/// Gives an open connection the session settings that the statements need. SQLite needs none.
void PrepareSession(const QSqlDatabase& database);

/// Runs one statement. If it fails because the connection broke, the connection is opened anew and the statement tried
/// once more.
QSqlQuery Run(const QString& statement, Failure failure = Failure::Told);

/// Runs one statement that adds a row. If the connection breaks with it, the row may be there all the same: it is tried
/// once more if `mayBeThere`, asked on a new connection, says no.
void Insert(const QString& statement, const std::function<bool()>& mayBeThere, Failure failure);

/// Runs all statements or none: false when one failed or the connection broke. Rows are meant; the log does not
/// tell of a failure, since the caller tries each alone then.
[[nodiscard]] bool RunTogether(const QStringList& statements);

/// `statement` with its placeholders replaced in ascending order of their numbers, all in one pass: a "%1" inside a
/// value stays one.
template <class... Values>
[[nodiscard]] QString Filled(QStringView statement, const Values&... values)
{
    if constexpr (sizeof...(values) == 0)
        return statement.toString();
    else
        return statement.arg(values...);
}

template <class... Values>
QSqlQuery Execute(QStringView statement, const Values&... values)
{
    return Run(Filled(statement, values...));
}

/// The first column of every row.
[[nodiscard]] QStringList ColumnOf(QSqlQuery query);

/// The first column of the first row; invalid when there is no row.
[[nodiscard]] QVariant FirstValueOf(QSqlQuery query);

/// The whole first row; empty when there is none. The query ends with it: while one is being read, SQLite does not wait
/// for a lock of another program, and a row that is added meanwhile fails at once.
[[nodiscard]] QVariantList FirstRowOf(QSqlQuery query);

/// Text from outside the program as it is pasted between single quotes: its own quotes doubled, so that it stays one
/// literal.
[[nodiscard]] QString InLiteral(QString text);

} // namespace MainBase
