#include "sourcefile.h"

#include "copytext.h"
#include "forwardtexts.h"
#include "registertable.h"
#include "sysvar.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>

#include <algorithm>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const auto ReaderName = u"source"_s;
const auto WriterName = u"source register"_s;

// A lock of the daemon's is short; whoever keeps one longer is told of and tried again.
constexpr auto WaitForLocks = "QSQLITE_BUSY_TIMEOUT=2000"_L1;

std::optional<struct stat> Found(const QString& path)
{
    struct stat found = {};
    return ::stat(QFile::encodeName(path).constData(), &found) == 0 ? std::optional(found) : std::nullopt;
}

QVariantList Values(const QSqlQuery& query, int first, int count)
{
    QVariantList values;
    for (int i = first; i < first + count; ++i)
        values.append(query.value(i));
    return values;
}

/// The connection with which the register is written, as long as that takes.
struct Writer {
    Writer() : database(QSqlDatabase::addDatabase(u"QSQLITE"_s, WriterName)) { }
    ~Writer()
    {
        database = {};
        QSqlDatabase::removeDatabase(WriterName);
    }
    Q_DISABLE_COPY_MOVE(Writer)
    QSqlDatabase database;
};

bool InsertAll(QSqlQuery& query, const QList<RegisterRow>& rows)
{
    if (!query.prepare(u"INSERT INTO \"Counters\" (global_id, \"UIN\", \"Number\", \"Model\", \"Type\", \"KI_Number\") "
                       "VALUES (?, ?, ?, ?, ?, ?)"_s))
        return false;
    return std::all_of(rows.begin(), rows.end(), [&](const RegisterRow& row) {
        for (const RegisterColumn& column : RegisterColumns) // an empty text, where a null one would be NULL
            query.addBindValue(u""_s + row.*column.field);
        return query.exec();
    });
}

} // namespace

QString SourcePathOf(const SysVar& vars)
{
    if (vars.BDType != "sqlite3"_L1)
        return {};
    const QString& name = vars.BaseName;
    const QString path = name.startsWith(u'/') ? name : QCoreApplication::applicationDirPath() + u'/' + name;
    const QString canonical = QFileInfo(path).canonicalFilePath(); // one lock, whatever the links to the file
    return canonical.isEmpty() ? path : canonical;
}

SourceFile::SourceFile(const QString& path_)
    : path(path_),
      database(QSqlDatabase::addDatabase(u"QSQLITE"_s, ReaderName))
{
}

SourceFile::~SourceFile()
{
    database = {};
    QSqlDatabase::removeDatabase(ReaderName);
}

bool SourceFile::EnsureOpen()
{
    if (database.isOpen() && IsStillTheFile())
        return true;
    database.close();
    return Open();
}

bool SourceFile::Open()
{
    const auto found = Found(path);
    if (!found)
        return Fail(ForwardTexts::tr("there is no such file yet"));
    device = found->st_dev;
    inode = found->st_ino;
    database.setDatabaseName(path);
    database.setConnectOptions(u"QSQLITE_OPEN_READONLY;"_s + WaitForLocks);
    return database.open() || Fail(database.lastError().databaseText());
}

bool SourceFile::IsStillTheFile() const
{
    const auto found = Found(path);
    return found && found->st_dev == device && found->st_ino == inode;
}

std::optional<QList<SourceRow>> SourceFile::Rows(const SourceTable& table, qint64 from, int most)
{
    QSqlQuery query(database);
    query.setForwardOnly(true);
    if (!Run(query,
            u"SELECT rowid,%1 FROM \"%2\" WHERE rowid >= %3 ORDER BY rowid LIMIT %4"_s.arg(
                table.columns, table.table, QString::number(from), QString::number(most))))
        return std::nullopt;
    const int columns = static_cast<int>(QString(table.columns).count(u',')) + 1;
    QList<SourceRow> rows;
    while (query.next()) {
        SourceRow row{.number = query.value(0).toLongLong(), .values = Values(query, 1, columns), .line = {}};
        row.line = CopyText::Line(row.values);
        row.digest = CopyText::Digest(row.line);
        rows.append(row);
    }
    if (query.lastError().isValid()) {
        static_cast<void>(Fail(query.lastError().databaseText()));
        return std::nullopt;
    }
    return rows;
}

std::optional<qint64> SourceFile::NewestRow(const SourceTable& table)
{
    return Number(u"SELECT max(rowid) FROM \"%1\""_s.arg(table.table));
}

std::optional<qint64> SourceFile::OldestRow(const SourceTable& table)
{
    return Number(u"SELECT min(rowid) FROM \"%1\""_s.arg(table.table));
}

std::optional<qint64> SourceFile::RowsBehind(const SourceTable& table, qint64 number)
{
    return Number(u"SELECT count(*) FROM \"%1\" WHERE rowid > %2"_s.arg(table.table).arg(number));
}

std::optional<QList<RegisterRow>> SourceFile::Register()
{
    QSqlQuery query(database);
    if (!Run(query, RegisterQuery.toString()))
        return std::nullopt;
    return RegisterRows(query, path);
}

std::optional<SourceFile::Sweep> SourceFile::NewestSweep()
{
    QSqlQuery query(database);
    if (!Run(query, u"SELECT date_r, time_r FROM \"Main_Data\" ORDER BY rowid DESC LIMIT 1"_s))
        return std::nullopt;
    if (!query.next())
        return Sweep();
    const QString date = query.value(0).toString();
    const QString time = query.value(1).toString();
    query.finish();
    if (!query.prepare(
            u"SELECT count(*) FROM \"Counters\" AS c WHERE NOT EXISTS (SELECT 1 FROM \"Main_Data\" AS m WHERE "
            "m.date_r = ? AND m.time_r = ? AND m.global_id = c.global_id)"_s))
        return std::nullopt;
    query.addBindValue(date);
    query.addBindValue(time);
    if (!query.exec() || !query.next()) {
        static_cast<void>(Fail(query.lastError().databaseText()));
        return std::nullopt;
    }
    return Sweep{QDate::fromString(date, Qt::ISODate), QTime::fromString(time, Qt::ISODate), query.value(0).toInt()};
}

bool SourceFile::ReplaceRegister(const QList<RegisterRow>& rows, const std::array<qint64, 2>& newest)
{
    Writer writer;
    writer.database.setDatabaseName(path);
    writer.database.setConnectOptions(WaitForLocks);
    if (!writer.database.open())
        return Fail(writer.database.lastError().databaseText());
    QSqlQuery query(writer.database);
    if (!Run(query, u"BEGIN IMMEDIATE"_s))
        return false;
    for (std::size_t i = 0; i < SourceTables.size(); ++i) {
        const auto now = NewestRow(SourceTables[i]); // no row can come while this holds the lock
        if (!now || *now != newest[i])
            return Fail(ForwardTexts::tr("a sweep has begun"));
    }
    if (!Run(query, u"DELETE FROM \"Counters\""_s))
        return false;
    QSqlQuery insert(writer.database);
    if (!InsertAll(insert, rows))
        return Fail(insert.lastError().databaseText());
    return Run(query, u"COMMIT"_s);
}

bool SourceFile::Fail(const QString& why)
{
    error = why.isEmpty() ? ForwardTexts::tr("it cannot be read") : why.simplified();
    return false;
}

bool SourceFile::Run(QSqlQuery& query, const QString& statement)
{
    return query.exec(statement) || Fail(query.lastError().databaseText());
}

std::optional<qint64> SourceFile::Number(const QString& statement)
{
    QSqlQuery query(database);
    if (!Run(query, statement) || !query.next())
        return std::nullopt;
    return query.value(0).toLongLong();
}
