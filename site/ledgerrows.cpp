#include "ledgerrows.h"

#include "walltime.h"

#include <QSqlError>
#include <QVariant>

using namespace Qt::StringLiterals;

namespace {

const auto RowsOfDay = u"SELECT time_r, global_id, status, pwr, pwr1, pwr2, pwr3, pwr4 FROM \"Main_Data\" "
                       "WHERE date_r = ? ORDER BY time_r"_s;
const auto NewestDayBefore = u"SELECT max(date_r) FROM \"Main_Data\" WHERE date_r < ?"_s;
const auto MetersOfDay = u"SELECT DISTINCT global_id FROM \"Main_Data\" WHERE date_r = ?"_s;
const auto ClocksOfDays = u"SELECT uin, substr(date_c, 1, 40), substr(time_c, 1, 40), "
                          "date_r, substr(time_r, 1, 40) FROM time_table "
                          "WHERE date_r >= ? AND date_r <= ? ORDER BY date_r, time_r"_s;

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
    QSqlQuery query(base);
    if (!Ask(query, ClocksOfDays, {DateText(first), DateText(last)}))
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
