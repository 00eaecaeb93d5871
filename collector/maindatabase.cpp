#include "maindatabase.h"

#include "ending.h"
#include "log.h"
#include "necessity.h"
#include "service.h"
#include "settingsconnection.h"

#include <QCoreApplication>
#include <QSqlRecord>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

const auto LockNotAvailable = u"55P03"_s; // PostgreSQL's name for a lock_timeout that ran out
const QString ConnectionName = u"Connection To Main Base"_s;

/// The driver leaks a broken connection if it is opened again without being closed.
void CloseBroken(QSqlDatabase& database)
{
    if (!database.isOpen())
        database.close();
}

/// Statements of one kind. The log and stderr tell when they fail, once for each reason, and when they work again.
class StatementKind final {
public:
    StatementKind(const char* failing, const char* working) : failingText(failing), workingText(working) { }

    void Note(bool done, const QSqlError& error)
    {
        if (done && !failed)
            return;
        failed = !done;
        const QString text = QCoreApplication::translate("MainBase", done ? workingText : failingText);
        const QString sentence = done ? text : text.arg(Reason(error));
        if (done ? necessity.Works(sentence) : necessity.Fails(sentence))
            Log(sentence, done ? Severity::Info : Severity::Error);
    }

    void Forget() { necessity = Necessity(); }

private:
    // The first line alone. Some databases quote the statement behind it, and each meter has a statement of its own.
    static QString Reason(const QSqlError& error)
    {
        const QString text = error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
        return text.section(u'\n', 0, 0).trimmed();
    }

    const char* failingText;
    const char* workingText;
    Necessity necessity;
    bool failed = false;
};

StatementKind inserts(
    QT_TRANSLATE_NOOP("MainBase", "Rows are not stored: %1"), QT_TRANSLATE_NOOP("MainBase", "Rows are stored again"));
StatementKind queries(QT_TRANSLATE_NOOP("MainBase", "The database cannot be read: %1"),
    QT_TRANSLATE_NOOP("MainBase", "The database can be read again"));

struct Attempt {
    QSqlQuery query;
    bool connectionBroke;
    QSqlError error;
};

Attempt Try(const QString& statement)
{
    QSqlDatabase database = MainBase::Connection();
    const bool wasOpen = database.isOpen();
    QSqlQuery query(database);
    bool done = query.exec(statement);
    const Liveness::Aside aside(Service::Work());
    while (!done && query.lastError().nativeErrorCode() == LockNotAvailable) {
        Service::Step(); // another program has the table: to start anew would not free it
        Ending::LeaveIfRequested();
        done = query.exec(statement);
    }
    const bool broke = !done && wasOpen && !database.isOpen();
    const QSqlError error = query.lastError().isValid() ? query.lastError() : database.lastError();
    CloseBroken(database);
    return {std::move(query), broke, error};
}

void PrepareSession(const QSqlDatabase& database)
{
    for (const QSqlError& error : SettingsConnection::PrepareSession(database))
        queries.Note(false, error);
}

} // namespace

QSqlError MainBase::Open(const SysVar& vars)
{
    inserts.Forget();
    queries.Forget();
    QSqlDatabase database = SettingsConnection::Add(ConnectionName, vars);
    if (!database.open())
        return database.lastError();
    PrepareSession(database);
    return {};
}

void MainBase::Close()
{
    QSqlDatabase::database(ConnectionName, false).close();
    QSqlDatabase::removeDatabase(ConnectionName);
}

QSqlDatabase MainBase::Connection()
{
    if (QSqlDatabase known = QSqlDatabase::database(ConnectionName, false); known.isOpen())
        return known;
    Ending::LeaveIfRequested(); // opening takes long when the host does not answer
    QSqlDatabase database = QSqlDatabase::database(ConnectionName, true);
    if (database.isOpen())
        PrepareSession(database);
    return database;
}

QSqlQuery MainBase::Run(const QString& statement, Failure failure)
{
    Attempt attempt = Try(statement);
    if (attempt.connectionBroke)
        attempt = Try(statement);
    if (failure == Failure::Told)
        queries.Note(attempt.query.isActive(), attempt.error);
    return std::move(attempt.query);
}

void MainBase::Insert(const QString& statement, const std::function<bool()>& mayBeThere, Failure failure)
{
    Attempt attempt = Try(statement);
    if (attempt.connectionBroke) {
        if (mayBeThere())
            return;
        attempt = Try(statement);
    }
    if (failure == Failure::Told)
        inserts.Note(attempt.query.isActive(), attempt.error);
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
    else if (!statements.isEmpty())
        inserts.Note(true, {});
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
