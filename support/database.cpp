#include "database.h"

#include <QCoreApplication>
#include <QDir>
#include <QSqlDatabase>
#include <QUuid>

using namespace Qt::StringLiterals;

namespace {

void Configure(QSqlDatabase& database, QSettings& settings)
{
    const QString name = settings.value("BaseName"_L1, u"db/z.db"_s).toString();
    if (database.driverName() == "QSQLITE"_L1) {
        database.setDatabaseName(QDir(QCoreApplication::applicationDirPath()).absoluteFilePath(name));
        return;
    }
    database.setDatabaseName(name);
    database.setHostName(settings.value("SqlHostName"_L1, u"192.168.0.0"_s).toString());
    database.setPort(settings.value("SqlPort"_L1, u"-1"_s).toInt());
    database.setUserName(settings.value("SqlLogin"_L1, u"postgres"_s).toString());
    database.setPassword(settings.value("SqlPassword"_L1).toString());
}

QString DriverFor(const QString& type)
{
    if (type == "postgres"_L1)
        return u"QPSQL"_s;
    return type == "sqlite3"_L1 ? u"QSQLITE"_s : QString();
}

} // namespace

QSqlError openDataBaseBySettings(QString& connectionName, QSettings& settings, const QString& group, QString extra)
{
    if (connectionName.isEmpty())
        connectionName = QUuid::createUuid().toString(QUuid::WithoutBraces);

    settings.beginGroup(group);
    const QString type = settings.value("BDType"_L1, u"sqlite3"_s).toString();
    const QString driver = DriverFor(type);
    QSqlError error;
    if (driver.isEmpty()) {
        const QString text = QCoreApplication::translate("openDataBaseBySettings", "unknown BDType \"%1\"").arg(type);
        error = QSqlError({}, text, QSqlError::ConnectionError);
    } else {
        QSqlDatabase database = QSqlDatabase::addDatabase(driver, connectionName);
        Configure(database, settings);
        database.setConnectOptions(extra);
        if (!database.open())
            error = database.lastError();
    }
    settings.endGroup();

    if (error.isValid())
        QSqlDatabase::removeDatabase(connectionName);
    return error;
}
