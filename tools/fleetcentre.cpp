#include "fleetcentre.h"

#include "centreconnection.h"
#include "settingsconnection.h"
#include "texts.h"

#include <QSqlError>
#include <QSqlRecord>

using namespace Qt::StringLiterals;

namespace {

const auto ConnectionName = u"fleet"_s;
constexpr int OldestServer = 140000; // the first one that lets a month go without stopping the others

QString Reason(const QSqlError& error)
{
    const QString text = error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
    return text.simplified();
}

} // namespace

FleetCentre::FleetCentre() = default;

FleetCentre::~FleetCentre()
{
    database = {};
    QSqlDatabase::removeDatabase(ConnectionName);
}

void FleetCentre::AddOptions(CommandLine& line)
{
    line.AddOption(u"centre"_s, Texts::tr("connection"),
        Texts::tr("The centre as libpq takes it, \"host=... dbname=... user=...\" (default: the database of the "
                  "settings file)."),
        {});
}

std::unique_ptr<FleetCentre> FleetCentre::Opened(const CommandLine& line)
{
    std::unique_ptr<FleetCentre> centre(new FleetCentre);
    if (centre->Take(line) && centre->Open())
        return centre;
    if (!centre->error.isEmpty())
        Complain(centre->error);
    return nullptr;
}

std::unique_ptr<FleetCentre> FleetCentre::OpenedWithSchema(const CommandLine& line)
{
    std::unique_ptr<FleetCentre> centre = Opened(line);
    if (!centre)
        return nullptr;
    const std::optional<int> version = centre->SchemaVersion();
    if (!version)
        Complain(centre->error);
    else if (*version == 0)
        Complain(Texts::tr("This database has no schema of a fleet; \"ravelinctl fleet init\" makes it."));
    else if (Knows(*version))
        return centre;
    return nullptr;
}

bool FleetCentre::Knows(int version)
{
    if (version != Version)
        Complain(
            Texts::tr("The centre's schema has version %1, this program knows version %2.").arg(version).arg(Version));
    return version == Version;
}

bool FleetCentre::Take(const CommandLine& line)
{
    const QString conninfo = line.Option(u"centre"_s);
    if (conninfo.isEmpty()) {
        const std::optional<SysVar> vars = line.Settings(Complain);
        if (!vars)
            return false;
        if (vars->BDType != "postgres"_L1)
            return Fail(Texts::tr("A centre is a PostgreSQL database: name it by --centre, or by settings with "
                                  "BDType=postgres."));
        database = SettingsConnection::Add(ConnectionName, *vars);
        return true;
    }
    if (const QString problem = CentreConnection::Problem(conninfo); !problem.isEmpty())
        return Fail(problem);
    database = CentreConnection::Add(ConnectionName, conninfo);
    return true;
}

bool FleetCentre::Open()
{
    if (!QSqlDatabase::isDriverAvailable(u"QPSQL"_s))
        return Fail(
            Texts::tr("The driver of PostgreSQL is not installed; it is in the package %1.").arg(u"libqt6sql6-psql"_s));
    if (!database.open())
        return Fail(Texts::tr("The centre: %1").arg(Reason(database.lastError())));
    const QList<QSqlError> errors = SettingsConnection::PrepareSession(database);
    if (!errors.isEmpty())
        return Fail(Texts::tr("The centre: %1").arg(Reason(errors.constFirst())));
    // Others' transactions may take long; nothing here keeps a daemon waiting.
    if (!Run(u"SET lock_timeout = '60s'"_s))
        return false;
    const auto version = Rows(u"SELECT current_setting('server_version_num')::integer"_s);
    return version
        && (version->first().first().toInt() >= OldestServer
            || Fail(Texts::tr("The centre must be PostgreSQL 14 or newer.")));
}

std::optional<int> FleetCentre::SchemaVersion()
{
    const auto there = Rows(u"SELECT to_regclass('fleet.info') IS NOT NULL"_s);
    if (!there || !there->first().first().toBool())
        return there ? std::optional<int>(0) : std::nullopt;
    const auto version = Rows(u"SELECT version FROM fleet.info"_s);
    if (!version)
        return std::nullopt;
    return version->isEmpty() ? 0 : version->first().first().toInt();
}

bool FleetCentre::Run(const QString& statement, const QVariantList& values)
{
    return Rows(statement, values).has_value();
}

std::optional<QList<QVariantList>> FleetCentre::Rows(const QString& statement, const QVariantList& values)
{
    QSqlQuery query(database);
    query.setForwardOnly(true);
    bool done = values.isEmpty() || query.prepare(statement);
    for (const QVariant& value : values)
        query.addBindValue(value);
    done = done && (values.isEmpty() ? query.exec(statement) : query.exec());
    QList<QVariantList> rows;
    while (done && query.next()) {
        QVariantList row;
        for (int column = 0; column < query.record().count(); ++column)
            row.append(query.value(column));
        rows.append(row);
    }
    // What goes wrong while rows come is no error of exec().
    if (done && !query.lastError().isValid())
        return rows;
    static_cast<void>(Fail(Texts::tr("The centre: %1").arg(Reason(query.lastError()))));
    return std::nullopt;
}

bool FleetCentre::InTransaction(const std::function<bool()>& work)
{
    if (!database.transaction())
        return Fail(Texts::tr("The centre: %1").arg(Reason(database.lastError())));
    if (work()) {
        if (database.commit())
            return true;
        static_cast<void>(Fail(Texts::tr("The centre: %1").arg(Reason(database.lastError()))));
    }
    database.rollback();
    return false;
}

bool FleetCentre::Fail(const QString& why)
{
    error = why;
    return false;
}

QString FleetCentre::Identifier(QString name)
{
    return u'"' + name.replace(u'"', "\"\""_L1) + u'"';
}

QString FleetCentre::Literal(QString text)
{
    return u'\'' + text.replace(u'\'', "''"_L1) + u'\'';
}
