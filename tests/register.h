#pragma once

#include <QStringList>

/// An empty database as an operator provides it.
inline const QStringList RegisterSchema{
    QStringLiteral("CREATE TABLE \"Counters\"(global_id INTEGER, \"UIN\" TEXT, \"Number\" TEXT, \"Model\" TEXT, "
                   "\"Type\" INTEGER, \"KI_Number\" TEXT)"),
    QStringLiteral("CREATE TABLE \"Main_Data\"(global_id INTEGER, pwr REAL, pwr1 REAL, pwr2 REAL, pwr3 REAL, "
                   "pwr4 REAL, date_r TEXT, time_r TEXT, status INTEGER)"),
    QStringLiteral("CREATE TABLE time_table(uin TEXT, date_c TEXT, time_c TEXT, date_r TEXT, time_r TEXT)"),
};
