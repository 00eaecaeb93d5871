#include "centreconnection.h"

#include <QCoreApplication>
#include <QSqlError>
#include <QSqlQuery>

#include <array>

using namespace Qt::StringLiterals;

namespace {

// Temporary views come before all others of their name. A time is text here, as in the daemon's own tables.
constexpr std::array<QStringView, 5> Views{
    u"CREATE TEMPORARY VIEW \"Counters\" AS SELECT global_id, \"UIN\", \"Number\", \"Model\", \"Type\", \"KI_Number\" "
    "FROM fleet.meters WHERE controller = %1",
    u"CREATE TEMPORARY VIEW main_data AS SELECT global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r::text AS "
    u"time_r, "
    "status FROM fleet.readings WHERE controller = %1",
    u"CREATE TEMPORARY VIEW \"Main_Data\" AS SELECT * FROM main_data",
    u"CREATE TEMPORARY VIEW time_table AS SELECT uin, date_c, time_c, date_r, time_r FROM fleet.clock_readings "
    "WHERE controller = %1",
    u"SET enable_nestloop = off", // what is known of a new day's rows comes later than the rows
};

} // namespace

QSqlDatabase CentreConnection::Add(const QString& connection, const QString& conninfo)
{
    QSqlDatabase database = QSqlDatabase::addDatabase(u"QPSQL"_s, connection);
    database.setConnectOptions(conninfo);
    return database;
}

// The driver hands its options on to libpq, with a blank for each semicolon.
QString CentreConnection::Problem(const QString& conninfo)
{
    if (!conninfo.contains("://"_L1) && !conninfo.contains(u';'))
        return {};
    return QCoreApplication::translate("site",
        "A centre is named by words such as host=... dbname=..., without an address and without a semicolon; a "
        "password is best in a file: passfile=...");
}

QSqlError CentreConnection::ShowOnly(const QSqlDatabase& database, const QString& controller)
{
    const QString literal = u'\'' + QString(controller).replace(u'\'', "''"_L1) + u'\'';
    QSqlQuery query(database);
    for (const QStringView view : Views)
        if (!query.exec(view.contains("%1"_L1) ? view.arg(literal) : view.toString()))
            return query.lastError();
    return {};
}
