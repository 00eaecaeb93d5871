#include "sweepfile.h"

#include <QDir>
#include <QFile>
#include <QMultiMap>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1StringView Unfinished{".unfinished"}; // there is one writer
const auto ConnectionName = u"Sweep file"_s;

const auto MakeReadings = u"CREATE TABLE \"Main_Data\" (global_id integer, pwr real, pwr1 real, pwr2 real, pwr3 real, "
                          "pwr4 real, date_r text, time_r text, status integer)"_s;
const auto InsertReading = u"INSERT INTO \"Main_Data\" VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"_s;
const auto MakeClocks =
    u"CREATE TABLE time_table (global_id integer, date_c text, time_c text, date_r text, time_r text)"_s;
const auto InsertClock = u"INSERT INTO time_table VALUES (?, ?, ?, ?, ?)"_s;

QVariantList Values(const SweepReading& row)
{
    QVariantList values{row.globalId};
    for (const float energy : row.energyKWh)
        values.append(std::isfinite(energy) ? QVariant(DecimalOf(energy)) : QVariant(QMetaType(QMetaType::Double)));
    return values + QVariantList{row.date, row.time, row.status};
}

/// Up to the first blank, and what is behind it; neither is null.
std::array<QString, 2> DateAndTime(const QString& text)
{
    const qsizetype blank = text.indexOf(u' ');
    return {blank < 0 ? text : text.first(blank), blank < 0 ? u""_s : text.sliced(blank + 1)};
}

QVariantList Values(const SweepClock& row)
{
    const auto [shownDate, shownTime] = DateAndTime(row.shown);
    const auto [askedDate, askedTime] = DateAndTime(row.asked);
    return {row.globalId, shownDate, shownTime, askedDate, askedTime};
}

template <typename Row>
bool Insert(QSqlQuery& query, const QString& statement, const QList<Row>& rows)
{
    if (!query.prepare(statement))
        return false;
    return std::all_of(rows.begin(), rows.end(), [&query](const Row& row) {
        int column = 0;
        for (const QVariant& value : Values(row))
            query.bindValue(column++, value);
        return query.exec();
    });
}

bool Fill(QSqlDatabase& database, const SweepMessage& message, QString& reason)
{
    QSqlQuery query(database);
    const bool isReadings = message.kind == SweepMessage::Kind::Readings;
    // The whole file is made durable at its end, and thrown away if anything fails before.
    const bool done = query.exec(u"PRAGMA journal_mode=OFF"_s) && query.exec(u"PRAGMA synchronous=OFF"_s)
        && database.transaction() && query.exec(isReadings ? MakeReadings : MakeClocks)
        && (isReadings ? Insert(query, InsertReading, message.readings) : Insert(query, InsertClock, message.clocks));
    if (done && database.commit())
        return true;
    reason = (query.lastError().isValid() ? query.lastError() : database.lastError()).databaseText();
    return false;
}

bool Make(const QString& path, const SweepMessage& message, QString& reason)
{
    bool isMade = false;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, ConnectionName);
        database.setDatabaseName(path);
        isMade = database.open();
        if (!isMade)
            reason = database.lastError().databaseText();
        isMade = isMade && Fill(database, message, reason);
        database.close();
    }
    QSqlDatabase::removeDatabase(ConnectionName);
    return isMade;
}

/// Waits until a file, or the names in a directory, are on the disk.
bool Sync(const QString& path, QString& reason)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    const bool isDone = descriptor >= 0 && ::fsync(descriptor) == 0;
    if (!isDone)
        reason = qt_error_string(errno);
    if (descriptor >= 0)
        ::close(descriptor);
    return isDone;
}

bool Rename(const QString& from, const QString& to, QString& reason)
{
    if (std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0)
        return true;
    reason = qt_error_string(errno);
    return false;
}

} // namespace

bool SweepFile::IsName(QStringView name, SweepMessage::Kind kind)
{
    // Before the first query sweep a time sweep is called after no time.
    static const QRegularExpression form(
        u"\\A(time_)?([0-9]{4}(-[0-9]{2}){5}|'now'-'now')\\.db\\z"_s, QRegularExpression::DontCaptureOption);
    return form.match(name).hasMatch() && name.startsWith("time_"_L1) == (kind == SweepMessage::Kind::Clocks);
}

QDate SweepFile::DayOf(const QString& name)
{
    static const QRegularExpression form(u"\\A(?:time_)?([0-9]{4}-[0-9]{2}-[0-9]{2})-[0-9-]{8}\\.db\\z"_s);
    return QDate::fromString(form.match(name).captured(1), Qt::ISODate);
}

bool SweepFile::Write(const QString& directory, const SweepMessage& message, QString& reason)
{
    if (!QDir().mkpath(directory)) {
        reason = qt_error_string(errno);
        return false;
    }
    const QString unfinished = directory + u'/' + Unfinished;
    QFile::remove(unfinished); // of a crash
    const bool isWritten = Make(unfinished, message, reason) && Sync(unfinished, reason)
        && Rename(unfinished, directory + u'/' + message.fileName, reason) && Sync(directory, reason);
    if (!isWritten)
        QFile::remove(unfinished);
    return isWritten;
}

void SweepFile::Prune(const QString& directory, int keepDays)
{
    QDir files(directory);
    files.remove(Unfinished);
    QMultiMap<QDate, QString> days;
    for (const QString& name : files.entryList(QDir::Files))
        if (const QDate day = DayOf(name); day.isValid())
            days.insert(day, name);
    QList<QDate> known = days.uniqueKeys();
    while (known.size() > keepDays)
        for (const QString& name : days.values(known.takeFirst()))
            files.remove(name);
}
