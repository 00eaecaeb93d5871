#include "ledgerrows.h"

#include "walltime.h"

#include <QMap>
#include <QSqlError>
#include <QVariant>

using namespace Qt::StringLiterals;

namespace {

// Times as text: a centre holds true times.
const auto RowsOfDay =
    u"SELECT CAST(time_r AS text), global_id, status, pwr, pwr1, pwr2, pwr3, pwr4 FROM \"Main_Data\" "
    "WHERE date_r = ? ORDER BY time_r"_s;
// The index knows a day's stamps and then the meters under each: from stamp to stamp is the short way to one meter.
// To ask for their order would make SQLite three times slower.
const auto RowsOfMeter =
    u"WITH RECURSIVE stamps(time_r) AS (SELECT min(time_r) FROM \"Main_Data\" WHERE date_r = :day UNION ALL "
    "SELECT (SELECT min(m.time_r) FROM \"Main_Data\" m WHERE m.date_r = :day AND m.time_r > stamps.time_r) FROM stamps "
    "WHERE stamps.time_r IS NOT NULL) "
    "SELECT CAST(r.time_r AS text), r.global_id, r.status, r.pwr, r.pwr1, r.pwr2, r.pwr3, r.pwr4 FROM stamps "
    "CROSS JOIN \"Main_Data\" r WHERE r.date_r = :day AND r.time_r = stamps.time_r AND r.global_id = :meter"_s;
const auto OldestDayFrom = u"SELECT min(date_r) FROM \"Main_Data\" WHERE date_r >= ?"_s;
const auto ReadingsOfDays = u"SELECT count(*) FROM \"Main_Data\" WHERE date_r >= ? AND date_r <= ?"_s;
const auto ClockCountOfDays = u"SELECT count(*) FROM time_table WHERE date_r >= ? AND date_r <= ?"_s;
const auto NewestDayBefore = u"SELECT max(date_r) FROM \"Main_Data\" WHERE date_r < ?"_s;
const auto MetersOfDay = u"SELECT DISTINCT global_id FROM \"Main_Data\" WHERE date_r = ?"_s;
const auto ClocksOfDays = u"SELECT uin, substr(date_c, 1, 40), substr(time_c, 1, 40), "
                          "date_r, substr(time_r, 1, 40) FROM time_table "
                          "WHERE date_r >= ? AND date_r <= ?%1 ORDER BY date_r, time_r"_s;

QString DateText(QDate date)
{
    return date.toString(u"yyyy-MM-dd"_s);
}

ReadingRow RowIn(const QSqlQuery& query)
{
    ReadingRow row;
    row.globalId = query.value(1).toInt();
    row.status = query.value(2).toInt();
    for (size_t i = 0; i < row.energy.size(); ++i)
        row.energy[i] = query.value(3 + static_cast<int>(i)).toDouble();
    return row;
}

} // namespace

LedgerRows::LedgerRows(const QSqlDatabase& database) : base(database) { }

std::optional<StoredDay> LedgerRows::Day(QDate day)
{
    QSqlQuery query(base);
    if (!Ask(query, RowsOfDay, {DateText(day)}))
        return std::nullopt;
    StoredDay sweeps;
    QString lastText;
    QTime time;
    while (query.next()) {
        if (const QString text = query.value(0).toString(); text != lastText) {
            lastText = text;
            time = QTime::fromString(text, u"hh:mm:ss"_s);
            if (time.isValid())
                sweeps.append(StoredSweep{WallTime(day, time), {}});
        }
        if (time.isValid())
            sweeps.last().rows.append(RowIn(query));
        else
            ++unreadable;
    }
    return sweeps;
}

std::optional<QList<ClockRow>> LedgerRows::Clocks(QDate first, QDate last)
{
    return ClocksOf({}, first, last);
}

std::optional<QList<ClockRow>> LedgerRows::ClocksOf(const QStringList& uins, QDate first, QDate last)
{
    QSqlQuery query(base);
    const QString these = uins.isEmpty() ? QString() : u" AND uin IN (?%1)"_s.arg(u", ?"_s.repeated(uins.size() - 1));
    if (!Ask(query, ClocksOfDays.arg(these), QStringList{DateText(first), DateText(last)} + uins))
        return std::nullopt;
    QList<ClockRow> rows;
    while (query.next()) {
        const auto text = [&query](int column) { return query.value(column).toString(); };
        rows.append({text(0), text(1), text(2), text(3), text(4)});
    }
    return rows;
}

std::optional<QSet<qint32>> LedgerRows::MetersBefore(QDate day)
{
    QSqlQuery newest(base);
    if (!Ask(newest, NewestDayBefore, {DateText(day)}))
        return std::nullopt;
    QSet<qint32> meters;
    if (!newest.next() || newest.value(0).isNull())
        return meters;
    QSqlQuery query(base);
    if (!Ask(query, MetersOfDay, {newest.value(0).toString()}))
        return std::nullopt;
    while (query.next())
        meters.insert(query.value(0).toInt());
    return meters;
}

std::optional<StoredDay> LedgerRows::OfMeter(
    qint32 globalId, const QDateTime& from, const QDateTime& to, qsizetype most)
{
    StoredDay sweeps;
    QDate day = from.date();
    while (sweeps.size() < most) {
        const std::optional<QDate> next = DayFrom(day);
        if (!next)
            return std::nullopt;
        if (!next->isValid() || WallTime(*next, QTime(0, 0)) >= to)
            break;
        const std::optional<StoredDay> found = DayOfMeter(globalId, *next);
        if (!found)
            return std::nullopt;
        for (const StoredSweep& sweep : *found)
            if (sweep.stamp >= from && sweep.stamp < to)
                sweeps.append(sweep);
        day = next->addDays(1);
    }
    return sweeps;
}

std::optional<StoredDay> LedgerRows::DayOfMeter(qint32 globalId, QDate day)
{
    QSqlQuery query(base);
    query.setForwardOnly(true);
    bool asked = query.prepare(RowsOfMeter);
    query.bindValue(u":day"_s, DateText(day));
    query.bindValue(u":meter"_s, globalId);
    asked = asked && query.exec();
    if (!asked) {
        error = query.lastError().text().simplified();
        return std::nullopt;
    }
    QMap<QTime, StoredSweep> sweeps;
    while (query.next()) {
        const QTime time = QTime::fromString(query.value(0).toString(), u"hh:mm:ss"_s);
        if (!time.isValid())
            continue;
        StoredSweep& sweep = sweeps[time];
        sweep.stamp = WallTime(day, time);
        sweep.rows.append(RowIn(query));
    }
    return sweeps.values();
}

/// The first day from `day` on that has rows; invalid when there is none.
std::optional<QDate> LedgerRows::DayFrom(QDate day)
{
    QSqlQuery query(base);
    if (!Ask(query, OldestDayFrom, {DateText(day)}))
        return std::nullopt;
    return query.next() ? QDate::fromString(query.value(0).toString(), u"yyyy-MM-dd"_s) : QDate();
}

std::optional<qint64> LedgerRows::CountReadings(QDate first, QDate last)
{
    return Count(ReadingsOfDays, first, last);
}

std::optional<qint64> LedgerRows::CountClocks(QDate first, QDate last)
{
    return Count(ClockCountOfDays, first, last);
}

std::optional<qint64> LedgerRows::Count(const QString& statement, QDate first, QDate last)
{
    QSqlQuery query(base);
    if (!Ask(query, statement, {DateText(first), DateText(last)}))
        return std::nullopt;
    return query.next() ? query.value(0).toLongLong() : 0;
}

bool LedgerRows::Ask(QSqlQuery& query, const QString& statement, const QStringList& values)
{
    query.setForwardOnly(true);
    bool asked = query.prepare(statement);
    for (const QString& value : values)
        query.addBindValue(value);
    asked = asked && query.exec();
    if (!asked)
        error = query.lastError().text().simplified();
    return asked;
}
