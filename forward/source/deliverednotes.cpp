#include "deliverednotes.h"

#include "forwardtexts.h"
#include "log.h"
#include "necessity.h"

#include <QFile>
#include <QSqlError>
#include <QSqlQuery>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const auto ConnectionName = u"delivered notes"_s;

const QStringList Schema{
    u"CREATE TABLE IF NOT EXISTS notes (name TEXT PRIMARY KEY, text TEXT NOT NULL) WITHOUT ROWID"_s,
    u"CREATE TABLE IF NOT EXISTS delivered (kind INTEGER, number INTEGER, digest INTEGER NOT NULL, "
    "PRIMARY KEY (kind, number)) WITHOUT ROWID"_s};

Necessity& Keeping()
{
    static Necessity keeping;
    return keeping;
}

} // namespace

QString NotesPathOf(const QString& source)
{
    return source + "-forward"_L1;
}

QString LockPathOf(const QString& source)
{
    return source + "-forward.lock"_L1;
}

DeliveredNotes::DeliveredNotes(const QString& path_, Access access_)
    : path(path_),
      access(access_),
      database(QSqlDatabase::addDatabase(u"QSQLITE"_s, ConnectionName))
{
    database.setDatabaseName(path);
    database.setConnectOptions(
        access == Access::Read ? u"QSQLITE_OPEN_READONLY;QSQLITE_BUSY_TIMEOUT=1000"_s : u"QSQLITE_BUSY_TIMEOUT=1000"_s);
    Begin();
}

DeliveredNotes::~DeliveredNotes()
{
    database = {};
    QSqlDatabase::removeDatabase(ConnectionName);
}

void DeliveredNotes::Begin()
{
    if (Open() || access == Access::Read)
        return;
    const QString code = database.lastError().nativeErrorCode();
    const bool isDamaged = code == "11"_L1 || code == "26"_L1; // SQLITE_CORRUPT, SQLITE_NOTADB
    database.close();
    if (!isDamaged)
        return;
    Log(ForwardTexts::tr("%1 is damaged and begun anew").arg(path), Severity::Warning);
    QFile::remove(path);
    QFile::remove(path + "-wal"_L1);
    QFile::remove(path + "-shm"_L1);
    static_cast<void>(Open());
}

bool DeliveredNotes::Open()
{
    if (database.isOpen())
        return true;
    if (!database.open()) {
        Failed(database.lastError().databaseText());
        return false;
    }
    if (access == Access::Read)
        return true;
    // Notes that a power cut takes are made again: the file need not be synchronised with each of them.
    const bool isReady = Run(u"PRAGMA journal_mode = WAL"_s) && Run(u"PRAGMA synchronous = NORMAL"_s)
        && std::all_of(Schema.begin(), Schema.end(), [this](const QString& statement) { return Run(statement); });
    if (!isReady)
        database.close();
    return isReady;
}

QUuid DeliveredNotes::Source()
{
    return QUuid(Noted(u"source"_s));
}

void DeliveredNotes::BeginSource(const QUuid& source, const Marks& marks)
{
    if (!Open() || !database.transaction())
        return;
    bool isDone = Run(u"INSERT OR REPLACE INTO notes VALUES ('source', ?)"_s, {source.toString(QUuid::WithoutBraces)});
    for (int kind = 0; const Mark& mark : marks)
        isDone = isDone && Run(u"DELETE FROM delivered WHERE kind = ? AND number > ?"_s, {kind++, mark.number});
    if (!isDone || !database.commit())
        database.rollback();
}

void DeliveredNotes::NoteRows(std::size_t table, const QList<SourceRow>& rows)
{
    if (rows.isEmpty() || !Open() || !database.transaction())
        return;
    const auto kind = static_cast<int>(table);
    QSqlQuery query(database);
    const auto note = [&](const SourceRow& row) {
        query.addBindValue(kind);
        query.addBindValue(row.number);
        query.addBindValue(row.digest);
        return query.exec();
    };
    bool isDone = query.prepare(u"INSERT OR REPLACE INTO delivered VALUES (?, ?, ?)"_s)
        && std::all_of(rows.begin(), rows.end(), note);
    if (!isDone)
        Failed(query.lastError().databaseText());
    query.finish();
    isDone =
        isDone && Run(u"DELETE FROM delivered WHERE kind = ? AND number <= ?"_s, {kind, rows.last().number - MostRows});
    if (!isDone || !database.commit())
        database.rollback();
    else if (Keeping().Works(ForwardTexts::tr("The notes are kept again")))
        Log(ForwardTexts::tr("The notes are kept again"));
}

Mark DeliveredNotes::LastCommon(std::size_t table, qint64 from, const std::function<qint64(qint64)>& digestOf)
{
    if (!Open())
        return {};
    QSqlQuery query(database);
    query.setForwardOnly(true);
    query.prepare(u"SELECT number, digest FROM delivered WHERE kind = ? AND number <= ? ORDER BY number DESC"_s);
    query.addBindValue(static_cast<int>(table));
    query.addBindValue(from);
    if (!query.exec())
        Failed(query.lastError().databaseText());
    while (query.next()) {
        const Mark mark{query.value(0).toLongLong(), query.value(1).toLongLong()};
        if (digestOf(mark.number) == mark.digest)
            return mark;
    }
    return {};
}

void DeliveredNotes::Note(const QString& name, const QString& text)
{
    if (Open() && Noted(name) != text)
        static_cast<void>(Run(u"INSERT OR REPLACE INTO notes VALUES (?, ?)"_s, {name, u""_s + text}));
}

QString DeliveredNotes::Noted(const QString& name)
{
    return Open() ? Value(u"SELECT text FROM notes WHERE name = ?"_s, {name}).toString() : QString();
}

bool DeliveredNotes::Run(const QString& statement, const QVariantList& values)
{
    QSqlQuery query(database);
    bool isDone = query.prepare(statement);
    for (const QVariant& value : values)
        query.addBindValue(value);
    isDone = isDone && query.exec();
    if (!isDone)
        Failed(query.lastError().databaseText());
    return isDone;
}

QVariant DeliveredNotes::Value(const QString& statement, const QVariantList& values)
{
    QSqlQuery query(database);
    query.prepare(statement);
    for (const QVariant& value : values)
        query.addBindValue(value);
    return query.exec() && query.next() ? query.value(0) : QVariant();
}

void DeliveredNotes::Failed(const QString& why)
{
    const QString text =
        ForwardTexts::tr("The notes in %1 cannot be kept; the delivery goes on: %2").arg(path, why.simplified());
    if (Keeping().Fails(text))
        Log(text, Severity::Warning);
}
