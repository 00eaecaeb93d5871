#include "sitedatabase.h"

#include "centreconnection.h"
#include "registertable.h"
#include "settingsconnection.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

class SiteTexts final {
    Q_DECLARE_TR_FUNCTIONS(site)
};

/// That has the driver of the daemon's database; empty when it is installed.
QString MissingPackage(const SysVar& vars)
{
    const bool isFile = vars.BDType == "sqlite3"_L1;
    if (!isFile && vars.BDType != "postgres"_L1) // that is told elsewhere
        return {};
    if (QSqlDatabase::isDriverAvailable(isFile ? u"QSQLITE"_s : u"QPSQL"_s))
        return {};
    return isFile ? u"libqt6sql6-sqlite"_s : u"libqt6sql6-psql"_s;
}

} // namespace

SiteDatabase::SiteDatabase(const SysVar& vars_, const QString& connection_, CentreView centre_)
    : vars(vars_),
      connection(connection_),
      centre(std::move(centre_))
{
    if (!centre.conninfo.isEmpty())
        vars.BDType = u"postgres"_s;
    if (MissingPackage(vars).isEmpty())
        database = centre.conninfo.isEmpty() ? SettingsConnection::Add(connection, vars)
                                             : CentreConnection::Add(connection, centre.conninfo);
    if (IsFile() && database.isValid())
        vars.BaseName = database.databaseName();
}

SiteDatabase::~SiteDatabase()
{
    database = {};
    QSqlDatabase::removeDatabase(connection);
}

// Even a reader makes the files of the write-ahead log, and leaves them behind. It makes none of a file that it takes
// for unchangeable, which is true when there is no log, that is, no writer and nothing that one left.
bool SiteDatabase::OpenToRead(Patience patience)
{
    const bool isShort = patience == Patience::Short;
    if (!HasDriver())
        return false;
    if (!IsFile()) {
        if (isShort)
            database.setConnectOptions(u"connect_timeout=2;tcp_user_timeout=2000"_s);
        return Connect();
    }
    if (!HasFile())
        return false;
    const bool hasLog = QFileInfo::exists(vars.BaseName + "-shm"_L1) || QFileInfo(vars.BaseName + "-wal"_L1).size() > 0;
    const QString path = QString::fromLatin1(QUrl::toPercentEncoding(vars.BaseName, "/"));
    database.setDatabaseName(u"file:%1?%2"_s.arg(path, hasLog ? u"mode=ro"_s : u"immutable=1"_s));
    database.setConnectOptions(
        u"QSQLITE_OPEN_URI;QSQLITE_OPEN_READONLY"_s + (isShort ? u";QSQLITE_BUSY_TIMEOUT=50"_s : QString()));
    return Connect();
}

std::optional<QList<RegisterRow>> SiteDatabase::Rows()
{
    QSqlQuery query(database);
    if (!Run(query, RegisterQuery.toString()))
        return std::nullopt;
    return RegisterRows(query, Name());
}

bool SiteDatabase::IsFile() const
{
    return vars.BDType == "sqlite3"_L1;
}

QString SiteDatabase::Name() const
{
    if (!centre.controller.isEmpty())
        return SiteTexts::tr("controller %1 at the centre").arg(centre.controller);
    return IsFile() ? SiteTexts::tr("database %1").arg(vars.BaseName)
                    : SiteTexts::tr("database %1 on %2").arg(vars.BaseName, vars.SqlHostName);
}

QString SiteDatabase::Error() const
{
    return Name() + ": "_L1 + error;
}

bool SiteDatabase::HasDriver()
{
    const QString package = MissingPackage(vars);
    return package.isEmpty()
        || Fail(SiteTexts::tr("its driver is not installed; it is in the package %1").arg(package));
}

bool SiteDatabase::HasFile()
{
    return QFileInfo::exists(vars.BaseName)
        || Fail(SiteTexts::tr("it does not exist; \"ravelinctl register init\" makes it"));
}

bool SiteDatabase::Connect()
{
    if (!IsFile() && vars.BDType != "postgres"_L1)
        return Fail(SiteTexts::tr("BDType must be sqlite3 or postgres, not \"%1\"").arg(vars.BDType));
    if (const QString problem = CentreConnection::Problem(centre.conninfo); !problem.isEmpty())
        return Fail(problem);
    if (!database.open())
        return Fail(database.lastError());
    const QList<QSqlError> errors = SettingsConnection::PrepareSession(database);
    if (!errors.isEmpty())
        return Fail(errors.constFirst());
    return centre.controller.isEmpty() || ShowController();
}

bool SiteDatabase::ShowController()
{
    if (IsFile())
        return Fail(SiteTexts::tr("a controller is chosen at a centre, which is a PostgreSQL database"));
    if (const QSqlError why = CentreConnection::ShowOnly(database, centre.controller); why.isValid())
        return Fail(why);
    QSqlQuery query(database);
    if (!query.prepare(u"SELECT FROM fleet.controllers WHERE controller = ?"_s))
        return Fail(query.lastError());
    query.addBindValue(centre.controller);
    if (!query.exec())
        return Fail(query.lastError());
    return query.next() || Fail(SiteTexts::tr("there is no such controller"));
}

bool SiteDatabase::Run(QSqlQuery& query, const QString& statement)
{
    return query.exec(statement) || Fail(query.lastError());
}

bool SiteDatabase::Fail(const QString& why)
{
    error = why.simplified();
    return false;
}

QString SiteDatabase::ReasonOf(const QSqlError& why)
{
    return why.databaseText().isEmpty() ? why.driverText() : why.databaseText();
}
