#pragma once

#include "meterregister.h"

#include <QSqlQuery>

/// Asks for the rows of the register in a database.
inline constexpr QStringView RegisterQuery =
    u"SELECT global_id, \"UIN\", \"Number\", \"Model\", \"Type\", \"KI_Number\" FROM \"Counters\" ORDER BY global_id";

/// The rows that `query`, which has run RegisterQuery, found in the database `name`.
[[nodiscard]] QList<RegisterRow> RegisterRows(QSqlQuery& query, const QString& name);
