#include "settingsconnection.h"

#include "sysvar.h"

#include <QCoreApplication>
#include <QSqlQuery>

#include <array>

using namespace Qt::StringLiterals;

namespace {

// For each new connection to PostgreSQL. A lock is waited for one second at a time, so that a requested end is noticed
// in between. A backslash is no escape: where a text stands in a statement, its quotes alone are doubled.
constexpr std::array<QStringView, 2> PostgresSession{
    u"SET lock_timeout = '1s'", u"SET standard_conforming_strings = on"};

QSqlDatabase Postgres(const QString& connection, const SysVar& vars)
{
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QPSQL"_s, connection);
    database.setDatabaseName(vars.BaseName);
    database.setHostName(vars.SqlHostName);
    database.setPort(vars.SqlPort);
    database.setUserName(vars.SqlLogin);
    database.setPassword(vars.SqlPassword);
    // A host that vanished must not hold the one thread for the minutes that the system would wait.
    database.setConnectOptions(u"connect_timeout=10;tcp_user_timeout=10000;keepalives_idle=10"_s);
    return database;
}

QSqlDatabase Sqlite(const QString& connection, const SysVar& vars)
{
    const bool absolute = vars.BaseName.startsWith(u'/');
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, connection);
    database.setDatabaseName(absolute ? vars.BaseName : QCoreApplication::applicationDirPath() + u'/' + vars.BaseName);
    return database;
}

} // namespace

QSqlDatabase SettingsConnection::Add(const QString& connection, const SysVar& vars)
{
    if (vars.BDType == "postgres"_L1)
        return Postgres(connection, vars);
    if (vars.BDType == "sqlite3"_L1)
        return Sqlite(connection, vars);
    return {};
}

// By statements: connection poolers refuse these settings as start-up options.
QList<QSqlError> SettingsConnection::PrepareSession(const QSqlDatabase& database)
{
    QList<QSqlError> errors;
    if (database.driverName() != "QPSQL"_L1)
        return errors;
    QSqlQuery query(database);
    for (const QStringView statement : PostgresSession)
        if (!query.exec(statement.toString()))
            errors.append(query.lastError());
    return errors;
}
