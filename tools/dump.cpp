// SQLite copies itself; PostgreSQL has programs for it.

#include "dump.h"

#include "registerdatabase.h"
#include "texts.h"

#include <QProcess>
#include <QSqlError>
#include <QUrl>
#include <QVariant>

using namespace Qt::StringLiterals;

namespace {

const QStringList Tables{u"Counters"_s, u"Main_Data"_s, u"time_table"_s};

QString WriteFile(const QSqlDatabase& database, const QString& path)
{
    QSqlQuery query(database);
    const QString literal = QString(path).replace(u'\'', "''"_L1);
    return query.exec(u"VACUUM INTO '%1'"_s.arg(literal)) ? QString() : query.lastError().text().simplified();
}

Dump::Contents ReadFile(const QString& path)
{
    const auto name = u"copy"_s;
    Dump::Contents contents;
    {
        QSqlDatabase copy = QSqlDatabase::addDatabase(u"QSQLITE"_s, name);
        copy.setDatabaseName(u"file:%1?immutable=1"_s.arg(QString::fromLatin1(QUrl::toPercentEncoding(path, "/"))));
        copy.setConnectOptions(u"QSQLITE_OPEN_URI;QSQLITE_OPEN_READONLY"_s);
        copy.open(); // what does not open answers nothing
        QSqlQuery query(copy);
        if (!query.exec(u"PRAGMA integrity_check"_s) || !query.next() || query.value(0).toString() != "ok"_L1)
            contents.problem =
                query.lastError().isValid() ? query.lastError().text().simplified() : query.value(0).toString();
        for (const QString& table : Tables) {
            if (query.exec(u"SELECT count(*) FROM \"%1\""_s.arg(table)) && query.next())
                contents.rows[table] = query.value(0).toLongLong();
            else
                contents.problem = query.lastError().text().simplified();
        }
    }
    QSqlDatabase::removeDatabase(name);
    return contents;
}

// Ended, and all of its output seen by `take`. An empty text, or why not.
template <class Take>
QString Run(const QString& program, const QStringList& arguments, const SysVar& vars, const Take& take)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"PGPASSWORD"_s, vars.SqlPassword); // others can see the words of a command line
    environment.insert(u"PGCONNECT_TIMEOUT"_s, u"10"_s);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForStarted())
        return Texts::tr("%1 cannot be started; it is in the package postgresql-client").arg(program);
    process.closeWriteChannel();
    while (process.waitForReadyRead(-1))
        take(process);
    process.waitForFinished(-1);
    take(process);
    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return {};
    const QString said = QString::fromLocal8Bit(process.readAllStandardError()).simplified();
    return said.isEmpty() ? Texts::tr("%1 failed").arg(program) : said;
}

QString WriteServer(const SysVar& vars, const QString& path)
{
    QStringList arguments{u"--format=custom"_s, u"--no-password"_s, u"--file"_s, path, u"--host"_s, vars.SqlHostName,
        u"--username"_s, vars.SqlLogin, u"--dbname"_s, vars.BaseName};
    if (vars.SqlPort != -1)
        arguments += {u"--port"_s, QString::number(vars.SqlPort)};
    return Run(u"pg_dump"_s, arguments, vars, [](QProcess&) {});
}

/// Counts the rows in what would be put back, between the line COPY schema.table (...) and the line \. .
class CopiedRows final {
public:
    void Take(QProcess& process)
    {
        while (process.canReadLine())
            TakeLine(process.readLine());
    }

    [[nodiscard]] QMap<QString, qint64> Rows() const { return rows; }

private:
    void TakeLine(const QByteArray& line)
    {
        if (!table.isEmpty()) {
            if (line == "\\.\n")
                table.clear();
            else
                ++rows[table];
        } else if (line.startsWith("COPY ")) {
            table = QString::fromUtf8(line).section(u' ', 1, 1).section(u'.', 1).remove(u'"');
            rows.insert(table, 0);
        }
    }

    QMap<QString, qint64> rows;
    QString table;
};

Dump::Contents ReadServer(const SysVar& vars, const QString& path)
{
    CopiedRows copied;
    const QString problem = Run(u"pg_restore"_s, {u"--data-only"_s, u"--file"_s, u"-"_s, path}, vars,
        [&](QProcess& process) { copied.Take(process); });
    Dump::Contents contents{copied.Rows(), problem};
    for (const QString& table : Tables) {
        const bool isThere = contents.rows.contains(table) || contents.rows.contains(table.toLower());
        if (contents.problem.isEmpty() && !isThere)
            contents.problem = Texts::tr("the copy has no table %1").arg(table);
    }
    return contents;
}

} // namespace

QString Dump::Write(const RegisterDatabase& database, const QString& path)
{
    return database.IsFile() ? WriteFile(database.Connection(), path) : WriteServer(database.Settings(), path);
}

Dump::Contents Dump::Read(const RegisterDatabase& database, const QString& path)
{
    return database.IsFile() ? ReadFile(path) : ReadServer(database.Settings(), path);
}
