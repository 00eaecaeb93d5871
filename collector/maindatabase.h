#pragma once

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>

struct SysVar;

/// The collector's one database connection and all that runs on it. A failing statement yields no rows. The log and
/// stderr tell the reason, each reason once until a statement of that kind works again, and then that it works.
namespace MainBase {

/// Whether the log tells of a failure. Some statements are meant to fail: those without a sweep's date and time (see
/// Sweep), and Statements::InsertClockPlaceholder.
enum class Failure { Told, Expected };

/// Registers and opens the connection. On failure it stays registered, and each use tries to open it again; with an
/// unknown kind of database there is none.
[[nodiscard]] QSqlError Open(const SysVar& vars);
void Close();

/// Opened again if it was closed.
[[nodiscard]] QSqlDatabase Connection();

/// Runs one statement. If it fails because the connection broke, the connection is opened anew and the statement tried
/// once more.
QSqlQuery Run(const QString& statement, Failure failure = Failure::Told);

/// Runs one statement that adds a row. If the connection breaks meanwhile, the row may be stored all the same. Then
/// `mayBeThere` is asked, on a new connection, and the statement is tried once more if the row is not there.
void Insert(const QString& statement, const std::function<bool()>& mayBeThere, Failure failure);

/// Runs all statements, which add rows, or none. False when one failed or the connection broke. The log does not tell
/// of that: the caller then tries each row alone, with Insert().
[[nodiscard]] bool RunTogether(const QStringList& statements);

/// `statement` with its placeholders replaced in ascending order of their numbers, all in one pass: a "%1" inside a
/// value is not replaced.
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

/// The whole first row; empty when there is none. The query has ended then. While a query is open SQLite does not wait
/// for another program's lock: a row that is added fails at once.
[[nodiscard]] QVariantList FirstRowOf(QSqlQuery query);

/// Text from outside the program as it is pasted between single quotes: its own quotes doubled, so that it stays one
/// literal.
[[nodiscard]] QString InLiteral(QString text);

} // namespace MainBase
