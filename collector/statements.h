#pragma once

#include <QStringView>

/// Every statement of the system, each named for what it asks. Filled by MainBase::Execute(). The spelling stays as it
/// is, blanks included: to PostgreSQL "Main_Data" and Main_Data are two names, and "Type" is compared as text and as a
/// number.
namespace Statements {

// --- the register

inline constexpr QStringView SubstationGlobalIds = u"SELECT \"global_id\" FROM \"Counters\" WHERE \"Type\" = '1'";
inline constexpr QStringView SubstationUins = u"SELECT \"UIN\" FROM \"Counters\" WHERE \"Type\" = '1'";
inline constexpr QStringView SubstationNumberAndModel =
    u"SELECT \"Number\", \"Model\" FROM \"Counters\" WHERE \"Type\" = 1";

/// The UINs of all meters behind a node.
inline constexpr QStringView NodeMeters = u"SELECT \"UIN\" FROM \"Counters\" WHERE \"Type\" = '0'";
inline constexpr QStringView NodesToNumber = u"SELECT \"UIN\" FROM \"Counters\" WHERE \"Type\" = 0";
inline constexpr QStringView NumbersAndModels = u"SELECT \"Number\",\"Model\" FROM \"Counters\";";

/// Of the meter with UIN %1.
inline constexpr QStringView NumberOf = u"SELECT \"Number\" FROM \"Counters\" WHERE \"UIN\" = '%1'";
inline constexpr QStringView KiNumberOf = u"SELECT \"KI_Number\" FROM \"Counters\" WHERE \"UIN\" = '%1'";
inline constexpr QStringView NumberAndModelOf = u"SELECT \"Number\",\"Model\" FROM \"Counters\" WHERE \"UIN\" = '%1'";
inline constexpr QStringView TypeOf = u"SELECT \"Type\" FROM \"Counters\" WHERE \"UIN\" = '%1'";
inline constexpr QStringView ModelAndGlobalIdOf =
    u"SELECT \"Model\", \"global_id\" FROM \"Counters\" WHERE \"UIN\" = '%1'";
inline constexpr QStringView AlarmGlobalIdOf = u"SELECT \"global_id\" FROM \"Counters\" WHERE \"UIN\" = '%1'";
inline constexpr QStringView SilentGlobalIdOf = u"SELECT global_id FROM \"Counters\" WHERE \"UIN\" = '%1'";
inline constexpr QStringView ClockGlobalIdOf = u"SELECT global_id,\"UIN\" FROM \"Counters\" WHERE \"UIN\" = '%1'";

// --- readings; a sweep is its date and its time

/// Node meters with a row in sweep %1 %2.
inline constexpr QStringView AnsweredInSweep =
    u"SELECT b.\"UIN\", b.global_id, b.\"Type\", a.global_id FROM \"Main_Data\"a, \"Counters\"b WHERE a.date_r = '%1' "
    u"and a.time_r = '%2' and a.global_id = b.global_id and b.\"Type\" = '0'";
/// All rows of sweep %1 %2.
inline constexpr QStringView ReadingsOfSweep =
    u"SELECT global_id, pwr, pwr1, pwr2, pwr3, pwr4, status FROM Main_Data WHERE date_r = '%1' and time_r = '%2'";

/// Meter %1 with energies %2 to %6 in sweep %7 %8.
inline constexpr QStringView InsertReading =
    u"INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) VALUES (%1, %2, %3, %4 "
    u",%5, %6, '%7', '%8', 0)";
/// Node meter %1 gave no reading in sweep %7 %8 and was last known in state %9.
inline constexpr QStringView InsertSilent =
    u"INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) VALUES (%1, 0, 0, 0 ,0, "
    u"0, '%7', '%8', %9)";
/// Substation meter %1 gave no reading in sweep %2 %3.
inline constexpr QStringView InsertSubstationSilent =
    u"INSERT INTO Main_Data(global_id, pwr, pwr1, pwr2, pwr3, pwr4, date_r, time_r, status) VALUES (%1, 0, 0, 0 ,0, "
    u"0, '%2', '%3', 1)";

// --- clock readings

/// How many of meter %0 since date %1.
inline constexpr QStringView ClockReadingCountSince =
    u"SELECT count(date_r) FROM time_table WHERE uin = '%0' and date_r >= '%1'";
/// The meters that gave one since date %0.
inline constexpr QStringView ClockReadSince = u"SELECT DISTINCT uin FROM time_table WHERE date_r >= '%0'";
/// All of date %1.
inline constexpr QStringView ClockReadingsOfDate =
    u"SELECT b.uin,b.date_c,b.time_c,b.date_r, b.time_r FROM time_table b WHERE b.date_r = '%1'";

/// The clock of meter %1 showed %2 %3 when the collector's showed %4 %5.
inline constexpr QStringView InsertClockReading =
    u"INSERT INTO time_table (uin,date_c,time_c, date_r, time_r) VALUES ('%1','%2','%3','%4','%5')";
/// Meter %1 gave none. Every database rejects it, since nothing in it stands in quotes: given so; not to be repaired. A
/// meter without a clock reading has no row.
inline constexpr QStringView InsertClockPlaceholder =
    u"INSERT INTO time_table(uin, date_c, time_c, date_r, time_r) VALUES (%1, 2000-01-01, 00:00:00, 2000-01-01, "
    u"00:00:00)";

} // namespace Statements
