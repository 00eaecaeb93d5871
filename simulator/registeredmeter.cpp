#include "registeredmeter.h"

#include "registercsv.h"
#include "registertable.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>

using namespace Qt::StringLiterals;

namespace {

bool IsDatabase(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(16).startsWith("SQLite format 3");
}

RegisterText ReadTable(const QString& path, QSqlDatabase base)
{
    base.setDatabaseName(path);
    base.setConnectOptions(u"QSQLITE_OPEN_READONLY"_s);
    QSqlQuery query(base);
    if (!base.open() || !query.exec(RegisterQuery.toString()))
        return {{}, {u"%1: %2"_s.arg(path, (base.isOpen() ? query.lastError() : base.lastError()).text())}};
    return {RegisterRows(query, path), {}};
}

RegisterText ReadDatabase(const QString& path)
{
    const RegisterText text = ReadTable(path, QSqlDatabase::addDatabase(u"QSQLITE"_s, path));
    QSqlDatabase::removeDatabase(path);
    return text;
}

} // namespace

std::optional<QList<RegisteredMeter>> ReadRegister(const QString& path, QString& error)
{
    const RegisterText text = IsDatabase(path) ? ReadDatabase(path) : ReadRegisterCsv(path);
    const QStringList problems = text.problems + RegisterProblems(text.rows);
    if (!problems.isEmpty()) {
        error = problems.join(u'\n');
        return std::nullopt;
    }
    QList<RegisteredMeter> meters;
    for (const RegisterRow& row : text.rows)
        meters.append({row.uin.toUtf8(), row.number.toUtf8(), FindDialect(row.model.toUtf8()), row.type == u'1'});
    return meters;
}
