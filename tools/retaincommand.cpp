// Takes old rows out of the two tables that grow, beside the running daemon: never so many at once that its own rows
// would have to wait long.

#include "retaincommand.h"

#include "clock.h"
#include "command.h"
#include "delay.h"
#include "registerdatabase.h"
#include "texts.h"

#include <QLocale>
#include <QSqlError>
#include <QVariant>

#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr int RowsAtOnce = 2000;
constexpr unsigned int PauseMs = 50; // whoever waits for the lock gets it then
constexpr int PagesAtOnce = 500;

/// The newest day always stays, and in SQLite the row that was added last: the numbers of the rows begin anew after it.
constexpr auto OldInFile =
    "date_r < '%2' AND date_r < (SELECT max(date_r) FROM %1) AND rowid < (SELECT max(rowid) FROM %1)"_L1;
constexpr auto OldInServer = "date_r < '%2' AND date_r < (SELECT max(date_r) FROM %1)"_L1;

constexpr auto DeleteInFile = "DELETE FROM %1 WHERE rowid IN (SELECT rowid FROM %1 WHERE %2 LIMIT %3)"_L1;
constexpr auto DeleteInServer = "DELETE FROM %1 WHERE ctid = ANY (ARRAY(SELECT ctid FROM %1 WHERE %2 LIMIT %3))"_L1;

/// Of the two names of the readings in PostgreSQL one is a view.
constexpr auto TableOfReadings = "SELECT relkind = 'r' FROM pg_class WHERE oid = to_regclass('main_data')"_L1;

class Retention final {
public:
    Retention(RegisterDatabase& register_, const QString& firstDay_)
        : database(register_),
          query(register_.Connection()),
          firstDay(firstDay_)
    {
    }

    /// How many rows of each table are too old. None when that cannot be found out.
    [[nodiscard]] std::optional<std::array<qint64, 2>> Count()
    {
        std::array<qint64, 2> counts{};
        auto place = counts.begin();
        for (const QString& table : Tables()) {
            const auto count = Number(u"SELECT count(*) FROM %1 WHERE %2"_s.arg(table, Old(table)));
            if (!count)
                return std::nullopt;
            *place++ = *count;
        }
        return counts;
    }

    /// Deletes them, a few at a time. What was deleted before a failure stays deleted.
    [[nodiscard]] bool Delete()
    {
        for (const QString& table : Tables()) {
            const QString statement = QString(database.IsFile() ? DeleteInFile : DeleteInServer)
                                          .arg(table, Old(table), QString::number(RowsAtOnce));
            do {
                if (!query.exec(statement))
                    return false;
                deleted += query.numRowsAffected();
                Delay(PauseMs);
            } while (query.numRowsAffected() == RowsAtOnce);
        }
        return true;
    }

    [[nodiscard]] qint64 Deleted() const { return deleted; }

    /// The room of deleted rows in an SQLite file, bytes.
    [[nodiscard]] qint64 FreeBytes()
    {
        return Number(u"PRAGMA freelist_count"_s).value_or(0) * Number(u"PRAGMA page_size"_s).value_or(0);
    }

    [[nodiscard]] bool ShrinksInSteps() { return Number(u"PRAGMA auto_vacuum"_s) == 2; }

    [[nodiscard]] bool Shrink()
    {
        while (FreeBytes() > 0) {
            if (!ShrinkABit())
                return false;
            Delay(PauseMs);
        }
        return true;
    }

    [[nodiscard]] QString Error() const { return database.Name() + ": "_L1 + query.lastError().text().simplified(); }

private:
    // The driver takes one step of this statement, which gives back one page, whatever number stands in it.
    [[nodiscard]] bool ShrinkABit()
    {
        bool isDone = query.exec(u"BEGIN IMMEDIATE"_s);
        for (int page = 0; isDone && page < PagesAtOnce; ++page)
            isDone = query.exec(u"PRAGMA incremental_vacuum(1)"_s);
        return isDone && query.exec(u"COMMIT"_s);
    }

    [[nodiscard]] std::optional<qint64> Number(const QString& statement)
    {
        if (!query.exec(statement) || !query.next())
            return std::nullopt;
        const qint64 number = query.value(0).toLongLong();
        query.finish(); // an open one keeps the write-ahead log from being emptied
        return number;
    }

    [[nodiscard]] QStringList Tables()
    {
        if (tables.isEmpty())
            tables = {database.IsFile() || Number(TableOfReadings) == 1 ? u"Main_Data"_s : u"\"Main_Data\""_s,
                u"time_table"_s};
        return tables;
    }

    [[nodiscard]] QString Old(const QString& table) const
    {
        return QString(database.IsFile() ? OldInFile : OldInServer).arg(table, firstDay);
    }

    RegisterDatabase& database;
    QSqlQuery query;
    const QString firstDay;
    QStringList tables;
    qint64 deleted = 0;
};

QString Megabytes(qint64 bytes)
{
    return QLocale(QLocale::English).toString(static_cast<double>(bytes) / 1e6, 'f', 1);
}

int TellOfRoom(Retention& retention, bool shrinks)
{
    if (shrinks && !retention.ShrinksInSteps()) {
        Complain(Texts::tr("This file was made without a way to shrink in steps. End the daemon, then: sqlite3 FILE "
                           "\"PRAGMA auto_vacuum = INCREMENTAL; VACUUM\""));
        return Problems;
    }
    if (shrinks && !retention.Shrink())
        return ComplainOfAll({retention.Error()});
    Tell(Texts::tr("Room in the file for new rows: %1 MB.").arg(Megabytes(retention.FreeBytes())));
    return Done;
}

int Retain(RegisterDatabase& database, const QString& firstDay, bool isDryRun, bool shrinks)
{
    if (database.IsFile()) // whoever writes more than it comes first; this has time
        database.Connection().exec(u"PRAGMA busy_timeout = 60000"_s);
    Retention retention(database, firstDay);
    const auto counts = retention.Count();
    if (!counts)
        return ComplainOfAll({retention.Error()});
    Tell(Texts::tr("%1: older than %2 are %3 readings and %4 clock readings.")
             .arg(database.Name(), firstDay)
             .arg((*counts)[0])
             .arg((*counts)[1]));
    if (isDryRun)
        return Done;
    const bool isDone = retention.Delete();
    Tell(Texts::tr("Deleted rows: %1.").arg(retention.Deleted()));
    if (!isDone)
        return ComplainOfAll({retention.Error()});
    return database.IsFile() ? TellOfRoom(retention, shrinks) : Done;
}

} // namespace

int RunRetain(const QStringList& words)
{
    CommandLine line(
        Texts::tr(
            "Deletes readings and clock readings that are older than a number of months, a few rows at a time, so\n"
            "that the daemon can go on. The newest day stays in any case. The room is used for new rows; an\n"
            "SQLite file can be made smaller, too."),
        CommandLine::Takes::Nothing);
    line.AddOption(u"keep"_s, Texts::tr("months"), Texts::tr("How many months stay, 1 to 1200."), {});
    line.AddFlag(u"dry-run"_s, Texts::tr("Only tells how many rows would go."));
    line.AddFlag(u"shrink"_s, Texts::tr("Gives the room of deleted rows in an SQLite file back, in small steps."));
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const int months = line.Option(u"keep"_s).toInt();
    if (months < 1 || months > 1200) {
        Complain(Texts::tr("--keep takes a number of months from 1 to 1200."));
        return WrongUsage;
    }
    const std::optional<SysVar> vars = line.Settings();
    if (!vars)
        return Problems;
    RegisterDatabase database(*vars);
    if (!database.Open(RegisterDatabase::Missing::Fails))
        return ComplainOfAll({database.Error()});
    const QString firstDay = CurrentDateTime().date().addMonths(-months).toString(u"yyyy-MM-dd"_s);
    return Retain(database, firstDay, line.HasFlag(u"dry-run"_s), line.HasFlag(u"shrink"_s));
}
