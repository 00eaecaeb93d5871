#include "maindatabase.h"

#include "ending.h"
#include "sysvar.h"

#include <QCoreApplication>
#include <QSqlRecord>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const auto LockNotAvailable = u"55P03"_s; // PostgreSQL's name for a lock_timeout that ran out
const QString ConnectionName = u"Connection To Main Base"_s;

QSqlDatabase Postgres(const QString& connection, const SysVar& vars)
{
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QPSQL"_s, connection);
    database.setDatabaseName(vars.BaseName);
    database.setHostName(vars.SqlHostName);
    database.setPort(vars.SqlPort);
    database.setUserName(vars.SqlLogin);
    database.setPassword(vars.SqlPassword);
    // A host that vanished must not hold the one thread for the minutes that the system would wait. A lock is waited
    // for in slices, so that an end is noticed. InLiteral() knows of no backslashes.
    database.setConnectOptions(u"connect_timeout=10;tcp_user_timeout=10000;keepalives_idle=10;"
                               "options='-c lock_timeout=1s -c standard_conforming_strings=on'"_s);
    return database;
}

QSqlDatabase Sqlite(const QString& connection, const SysVar& vars)
{
    const bool absolute = vars.BaseName.startsWith(u'/');
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, connection);
    database.setDatabaseName(absolute ? vars.BaseName : QCoreApplication::applicationDirPath() + u'/' + vars.BaseName);
    return database;
}

/// Opened as it is, the driver would leak a connection that broke.
void CloseBroken(QSqlDatabase& database)
{
    if (!database.isOpen())
        database.close();
}

struct Attempt {
    QSqlQuery query;
    bool connectionBroke;
};

Attempt Try(const QString& statement)
{
    QSqlDatabase database = MainBase::Connection();
    const bool wasOpen = database.isOpen();
    QSqlQuery query(database);
    bool done = query.exec(statement);
    while (!done && query.lastError().nativeErrorCode() == LockNotAvailable) {
        Ending::LeaveIfRequested();
        done = query.exec(statement);
    }
    const bool broke = !done && wasOpen && !database.isOpen();
    CloseBroken(database);
    return {std::move(query), broke};
}

} // namespace

QSqlDatabase MainBase::Add(const QString& connection, const SysVar& vars)
{
    if (vars.BDType == "postgres"_L1)
        return Postgres(connection, vars);
    if (vars.BDType == "sqlite3"_L1)
        return Sqlite(connection, vars);
    return {};
}

QSqlError MainBase::Open(const SysVar& vars)
{
    QSqlDatabase database = Add(ConnectionName, vars);
    return database.open() ? QSqlError() : database.lastError();
}

void MainBase::Close()
{
    QSqlDatabase::database(ConnectionName, false).close();
    QSqlDatabase::removeDatabase(ConnectionName);
}

QSqlDatabase MainBase::Connection()
{
    if (!QSqlDatabase::database(ConnectionName, false).isOpen())
        Ending::LeaveIfRequested(); // a host that does not answer takes its time
    return QSqlDatabase::database(ConnectionName, true);
}

QSqlQuery MainBase::Run(const QString& statement)
{
    Attempt attempt = Try(statement);
    if (attempt.connectionBroke)
        attempt = Try(statement);
    return std::move(attempt.query);
}

void MainBase::Insert(const QString& statement, const std::function<bool()>& mayBeThere)
{
    if (Try(statement).connectionBroke && !mayBeThere())
        Try(statement);
}

bool MainBase::RunTogether(const QStringList& statements)
{
    QSqlDatabase database = Connection();
    QSqlQuery query(database);
    const auto run = [&query](const QString& statement) { return query.exec(statement); };
    const bool committed =
        database.transaction() && std::all_of(statements.begin(), statements.end(), run) && database.commit();
    if (!committed)
        database.rollback();
    CloseBroken(database);
    return committed;
}

QStringList MainBase::ColumnOf(QSqlQuery query)
{
    QStringList column;
    while (query.next())
        column.append(query.value(0).toString());
    return column;
}

QVariant MainBase::FirstValueOf(QSqlQuery query)
{
    return query.next() ? query.value(0) : QVariant();
}

QVariantList MainBase::FirstRowOf(QSqlQuery query)
{
    QVariantList row;
    if (query.next())
        for (int column = 0; column < query.record().count(); ++column)
            row.append(query.value(column));
    return row;
}

QString MainBase::InLiteral(QString text)
{
    return text.replace(u'\'', "''"_L1);
}
