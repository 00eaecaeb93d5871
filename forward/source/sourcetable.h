#pragma once

#include <QByteArray>
#include <QLatin1StringView>
#include <QVariantList>

#include <array>

/// The daemon's two tables that grow, as they are read here and as they are delivered.
struct SourceTable {
    QLatin1StringView kind; ///< its name at the centre, in marks and dead letters
    QLatin1StringView shown; ///< for a person
    QLatin1StringView table; ///< in the daemon's file
    QLatin1StringView target; ///< at the centre
    QLatin1StringView columns; ///< in both
    int date; ///< the column with the date of the sweep, yyyy-MM-dd
    int time; ///< and the one with its time, hh:mm:ss
    bool timeIsTyped; ///< the centre keeps it as a time, not as a text
};

inline constexpr std::array<SourceTable, 2> SourceTables{{
    {QLatin1StringView("readings"), QLatin1StringView("readings"), QLatin1StringView("Main_Data"),
        QLatin1StringView("fleet.readings"),
        QLatin1StringView("global_id,pwr,pwr1,pwr2,pwr3,pwr4,date_r,time_r,status"), 6, 7, true},
    {QLatin1StringView("clocks"), QLatin1StringView("clock readings"), QLatin1StringView("time_table"),
        QLatin1StringView("fleet.clock_readings"), QLatin1StringView("uin,date_c,time_c,date_r,time_r"), 3, 4, false},
}};

/// One row of the daemon's. Rows are told apart by their number in the file alone: two equal rows are two rows.
struct SourceRow {
    qint64 number = 0;
    QVariantList values; ///< as the file has them: of any type, whatever the column
    QByteArray line; ///< as it is sent
    qint64 digest = 0; ///< of `line`
};

/// How far one table of one file has been delivered: up to the row of that number, which was the one with that digest.
/// 0: nothing yet.
struct Mark {
    qint64 number = 0;
    qint64 digest = 0;
};

/// Of each table, in the order of SourceTables.
using Marks = std::array<Mark, SourceTables.size()>;
