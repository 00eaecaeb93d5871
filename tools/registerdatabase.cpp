#include "registerdatabase.h"

#include "texts.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlRecord>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView ClocksAskedLastDay =
    u"SELECT time_r FROM time_table WHERE date_r = (SELECT max(date_r) FROM time_table) ORDER BY time_r";
constexpr QStringView SilentOfLastDay =
    u"SELECT avg(silent) FROM (SELECT sum(CASE WHEN status = 0 THEN 0 ELSE 1 END) AS silent FROM \"Main_Data\" "
    "WHERE date_r = (SELECT max(date_r) FROM \"Main_Data\") GROUP BY time_r) AS sweeps";

// As the daemon spells them. PostgreSQL tells the two names of the readings apart.
struct Table {
    QLatin1StringView name;
    QLatin1StringView columns;
};
constexpr QLatin1StringView ReadingColumns("global_id pwr pwr1 pwr2 pwr3 pwr4 date_r time_r status");
constexpr std::array<Table, 4> Tables{{
    {QLatin1StringView("\"Counters\""), QLatin1StringView("global_id UIN Number Model Type KI_Number")},
    {QLatin1StringView("Main_Data"), ReadingColumns},
    {QLatin1StringView("\"Main_Data\""), ReadingColumns},
    {QLatin1StringView("time_table"), QLatin1StringView("uin date_c time_c date_r time_r")},
}};

// To try them would fail, and with it the transaction that the question may be asked in.
const auto MissingRights =
    u"SELECT current_user, needed, place FROM (VALUES ('SELECT', '\"Counters\"'), ('SELECT', 'Main_Data'), "
    "('INSERT', 'Main_Data'), ('SELECT', '\"Main_Data\"'), ('SELECT', 'time_table'), ('INSERT', 'time_table')) "
    "AS rights(needed, place) WHERE NOT has_table_privilege(to_regclass(place), needed)"_s;

const auto TablesOfReadings = u"SELECT count(*) FROM pg_class WHERE relkind IN ('r', 'p') AND oid IN "
                              "(to_regclass('Main_Data'), to_regclass('\"Main_Data\"'))"_s;

QStringList SchemaStatements(const QString& file)
{
    QFile schema(file);
    if (!schema.open(QIODevice::ReadOnly))
        qFatal("the schema is not in the program");
    static const QRegularExpression comment(u" *--.*$"_s, QRegularExpression::MultilineOption);
    QStringList statements = QString::fromUtf8(schema.readAll()).remove(comment).split(u';');
    for (QString& statement : statements)
        statement = statement.trimmed();
    statements.removeAll(QString());
    return statements;
}

} // namespace

RegisterDatabase::RegisterDatabase(const SysVar& settings) : SiteDatabase(settings, u"register"_s) { }

bool RegisterDatabase::Open(Missing file)
{
    return HasDriver() && (!IsFile() || (file == Missing::Fails ? HasFile() : MakeDirectory())) && Connect();
}

QStringList RegisterDatabase::Problems()
{
    QStringList problems = IsFile() ? FilesNotWritable() : RightsMissing();
    if (!IsFile() && !problems.isEmpty())
        return problems; // the tables cannot be looked at
    for (const auto& [table, columns] : Tables) {
        QSqlQuery query(Connection());
        if (!Run(query, u"SELECT * FROM %1 WHERE 1 = 0"_s.arg(table))) {
            problems.append(Error());
            continue;
        }
        QStringList found;
        for (int i = 0; i < query.record().count(); ++i)
            found.append(query.record().fieldName(i));
        for (const QString& column : QString(columns).split(u' '))
            if (!found.contains(column, IsFile() ? Qt::CaseInsensitive : Qt::CaseSensitive))
                problems.append(Texts::tr("%1: table %2 has no column %3").arg(Name(), table, column));
    }
    QSqlQuery tables(Connection());
    if (!IsFile() && Run(tables, TablesOfReadings) && tables.next() && tables.value(0).toInt() == 2)
        problems.append(
            Texts::tr("%1: Main_Data and \"Main_Data\" are two tables; one must be a view of the other").arg(Name()));
    return problems;
}

QStringList RegisterDatabase::FilesNotWritable() const
{
    const QString directory = QFileInfo(Settings().BaseName).path(); // takes the journal
    QStringList problems;
    for (const QString& path :
        {Settings().BaseName, directory, Settings().BaseName + "-wal"_L1, Settings().BaseName + "-shm"_L1})
        if (QFileInfo::exists(path) && !QFileInfo(path).isWritable())
            problems.append(Texts::tr("%1: %2 cannot be written").arg(Name(), path));
    return problems;
}

QStringList RegisterDatabase::RightsMissing()
{
    QSqlQuery query(Connection());
    if (!Run(query, MissingRights))
        return {Error()};
    QStringList problems;
    while (query.next())
        problems.append(
            Texts::tr("%1: the role %2 may not %3 in table %4")
                .arg(Name(), query.value(0).toString(), query.value(1).toString(), query.value(2).toString()));
    return problems;
}

RegisterDatabase::Creation RegisterDatabase::CreateSchema()
{
    Creation creation;
    const QStringList statements = SchemaStatements(IsFile() ? u":/schema/sqlite.sql"_s : u":/schema/postgres.sql"_s);
    if (IsFile() && !LetShrink())
        return {{}, {Error()}};
    if (IsFile() && !SwitchWriteAheadLogOn(creation.report))
        return {{}, {Error()}};
    const bool created = InTransaction([&] {
        if (!std::all_of(statements.begin(), statements.end(),
                [&](const QString& statement) { return CreateObject(statement, creation.report); }))
            return false;
        creation.problems = Problems(); // of what was there already
        return creation.problems.isEmpty();
    });
    if (!created && creation.problems.isEmpty())
        creation.problems = {Error()};
    return creation;
}

RegisterDatabase::LastDay RegisterDatabase::ReadLastDay()
{
    LastDay day;
    QSqlQuery query(Connection());
    if (Run(query, ClocksAskedLastDay.toString()))
        while (query.next())
            day.clocksAsked.append(query.value(0).toTime());
    if (Run(query, SilentOfLastDay.toString()) && query.next())
        day.silent = qRound(query.value(0).toDouble());
    return day;
}

bool RegisterDatabase::Write(const RegisterChange& change)
{
    // They outlive the transaction: PostgreSQL frees no statement in one that failed.
    QSqlQuery update(Connection());
    QSqlQuery insert(Connection());
    return InTransaction([&] {
        return WriteEach(change.changed, update,
                   u"UPDATE \"Counters\" SET \"UIN\" = :UIN, \"Number\" = :Number, \"Model\" = :Model, "
                   "\"Type\" = :Type, \"KI_Number\" = :KI_Number WHERE global_id = :global_id"_s)
            && WriteEach(change.added, insert,
                u"INSERT INTO \"Counters\" (global_id, \"UIN\", \"Number\", \"Model\", \"Type\", \"KI_Number\") "
                "VALUES (:global_id, :UIN, :Number, :Model, :Type, :KI_Number)"_s);
    });
}

bool RegisterDatabase::Remove(const QList<RegisterRow>& rows)
{
    QSqlQuery query(Connection()); // as in Write()
    const auto remove = [&](const RegisterRow& row) {
        query.bindValue(0, row.globalId);
        return query.exec();
    };
    return InTransaction([&] {
        return (query.prepare(u"DELETE FROM \"Counters\" WHERE global_id = ?"_s)
                   && std::all_of(rows.begin(), rows.end(), remove))
            || Fail(query.lastError());
    });
}

template <typename Work>
bool RegisterDatabase::InTransaction(Work work)
{
    if (!Connection().transaction())
        return Fail(Connection().lastError());
    if (work() && (Connection().commit() || Fail(Connection().lastError())))
        return true;
    Connection().rollback();
    return false;
}

bool RegisterDatabase::MakeDirectory()
{
    const QString directory = QFileInfo(Settings().BaseName).path();
    return QDir().mkpath(directory) || Fail(Texts::tr("the directory %1 cannot be made").arg(directory));
}

// Both kinds of database know an object by the name that the statement gives it.
bool RegisterDatabase::CreateObject(const QString& statement, QStringList& report)
{
    static const QRegularExpression head(u"^CREATE (TABLE|INDEX|VIEW) (\"?\\w+\"?)(?: ON (\"?\\w+\"?))?"_s);
    const QRegularExpressionMatch match = head.match(statement);
    const QString name = match.captured(2);
    const QString indexed = match.captured(3);

    const QString find = IsFile() ? u"SELECT count(*) FROM sqlite_master WHERE lower(name) = lower('%1')"_s
                                  : u"SELECT count(to_regclass('%1'))"_s;
    const std::optional<bool> isThere = Finds(find.arg(IsFile() ? QString(name).remove(u'"') : name));
    std::optional<bool> isOnView = false;
    if (!IsFile() && !indexed.isEmpty())
        isOnView =
            Finds(u"SELECT count(*) FROM pg_class WHERE oid = to_regclass('%1') AND relkind = 'v'"_s.arg(indexed));
    if (!isThere || !isOnView)
        return false;
    if (*isThere)
        report.append(Texts::tr("%1 is there already.").arg(name));
    else if (*isOnView)
        report.append(Texts::tr("Left the index %1 out: %2 is a view.").arg(name, indexed));
    else
        report.append(Texts::tr("Made the %1 %2.").arg(match.captured(1).toLower(), name));
    QSqlQuery query(Connection());
    return *isThere || *isOnView || Run(query, statement);
}

// Of a statement that counts.
std::optional<bool> RegisterDatabase::Finds(const QString& statement)
{
    QSqlQuery query(Connection());
    if (!Run(query, statement) || !query.next())
        return std::nullopt;
    return query.value(0).toBool();
}

// Of a file that is still empty: room that deleted rows leave can be given back in small steps. An older one keeps its
// way.
bool RegisterDatabase::LetShrink()
{
    QSqlQuery query(Connection());
    return Run(query, u"PRAGMA auto_vacuum = INCREMENTAL"_s);
}

// Lasts in the file. Without it the file is synchronised twice for every row.
bool RegisterDatabase::SwitchWriteAheadLogOn(QStringList& report)
{
    QSqlQuery query(Connection());
    const auto mode = [&] { return query.next() ? query.value(0).toString() : QString(); };
    if (!Run(query, u"PRAGMA journal_mode"_s))
        return false;
    if (mode() == "wal"_L1) {
        report.append(Texts::tr("The write-ahead log is on already."));
        return true;
    }
    query.finish();
    if (!Run(query, u"PRAGMA journal_mode = WAL"_s))
        return false;
    report.append(Texts::tr("Switched the write-ahead log on."));
    return mode() == "wal"_L1 || Fail(Texts::tr("the write-ahead log cannot be switched on"));
}

bool RegisterDatabase::WriteEach(const QList<RegisterRow>& rows, QSqlQuery& query, const QString& statement)
{
    if (!query.prepare(statement))
        return Fail(query.lastError());
    for (const RegisterRow& row : rows) {
        for (const RegisterColumn& column : RegisterColumns) // an empty text, where a null one would be NULL
            query.bindValue(u':' + QString(column.name), u""_s + row.*column.field);
        if (!query.exec())
            return Fail(row.place + ": "_L1 + ReasonOf(query.lastError()));
    }
    return true;
}
