#include "meterregister.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array<QByteArrayView, 4> Columns{"UIN", "Number", "Model", "Type"};
using Row = std::array<QByteArray, Columns.size()>;

/// False: `error` says what is wrong with `row`.
bool Append(QList<RegisteredMeter>& meters, const Row& row, QString& error)
{
    const auto& [uin, number, model, type] = row;
    const bool onLocalLine = type == "1";
    const MeterDialect* const dialect = FindDialect(model);
    if (type != "0" && type != "1")
        error = u"the Type is neither 0 nor 1: %1"_s.arg(QString::fromUtf8(type));
    else if (!onLocalLine && uin.size() != 16)
        error = u"the UIN has not 16 characters: %1"_s.arg(QString::fromUtf8(uin));
    else if (!dialect)
        error = u"unknown Model: %1"_s.arg(QString::fromUtf8(model));
    else
        meters.append({uin, number, dialect, onLocalLine});
    return error.isEmpty();
}

// A field may stand in double quotes; a separator inside it ends it all the same.
QByteArrayList Fields(const QByteArray& line, char separator)
{
    QByteArrayList fields = line.split(separator);
    for (QByteArray& field : fields) {
        field = field.trimmed();
        if (field.size() >= 2 && field.startsWith('"') && field.endsWith('"'))
            field = field.sliced(1).chopped(1);
    }
    return fields;
}

std::optional<QList<RegisteredMeter>> ReadCsv(QFile& file, QString& error)
{
    QByteArray header = file.readLine();
    if (header.startsWith("\xEF\xBB\xBF"))
        header.remove(0, 3);
    const char separator = header.contains(';') ? ';' : ',';
    const QByteArrayList names = Fields(header, separator);
    std::array<qsizetype, Columns.size()> places{};
    std::transform(Columns.begin(), Columns.end(), places.begin(),
        [&](QByteArrayView column) { return names.indexOf(column.toByteArray()); });
    if (std::find(places.begin(), places.end(), -1) != places.end()) {
        error = u"%1: the first line does not name UIN, Number, Model and Type"_s.arg(file.fileName());
        return std::nullopt;
    }

    QList<RegisteredMeter> meters;
    for (int number = 2; !file.atEnd(); ++number) {
        const QByteArray line = file.readLine().trimmed();
        if (line.isEmpty())
            continue;
        const QByteArrayList fields = Fields(line, separator);
        Row row;
        std::transform(places.begin(), places.end(), row.begin(), [&](qsizetype place) { return fields.value(place); });
        if (!Append(meters, row, error)) {
            error = u"%1, line %2: %3"_s.arg(file.fileName()).arg(number).arg(error);
            return std::nullopt;
        }
    }
    return meters;
}

std::optional<QList<RegisteredMeter>> ReadTable(const QString& path, QSqlDatabase base, QString& error)
{
    base.setDatabaseName(path);
    base.setConnectOptions(u"QSQLITE_OPEN_READONLY"_s);
    QSqlQuery query(base);
    if (!base.open() || !query.exec(uR"(SELECT "UIN", "Number", "Model", "Type" FROM "Counters")"_s)) {
        error = u"%1: %2"_s.arg(path, (base.isOpen() ? query.lastError() : base.lastError()).text());
        return std::nullopt;
    }
    QList<RegisteredMeter> meters;
    while (query.next()) {
        Row row;
        for (size_t i = 0; i < row.size(); ++i)
            row.at(i) = query.value(static_cast<int>(i)).toString().toUtf8();
        if (!Append(meters, row, error)) {
            error = u"%1, meter %2: %3"_s.arg(path).arg(meters.size() + 1).arg(error);
            return std::nullopt;
        }
    }
    return meters;
}

} // namespace

std::optional<QList<RegisteredMeter>> ReadRegister(const QString& path, QString& error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = u"Cannot read the register %1: %2"_s.arg(path, file.errorString());
        return std::nullopt;
    }
    if (!file.peek(16).startsWith("SQLite format 3"))
        return ReadCsv(file, error);
    auto meters = ReadTable(path, QSqlDatabase::addDatabase(u"QSQLITE"_s, path), error);
    QSqlDatabase::removeDatabase(path);
    return meters;
}
