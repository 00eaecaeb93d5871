#pragma once

#include <QSqlDatabase>
#include <QString>

/// A connection to the centre of many controllers, by libpq's own words: host=... dbname=... user=... sslmode=...
namespace CentreConnection {

/// A new connection of that name, not open yet.
[[nodiscard]] QSqlDatabase Add(const QString& connection, const QString& conninfo);

/// A sentence about what cannot be handed on to libpq; empty when all can.
[[nodiscard]] QString Problem(const QString& conninfo);

/// Shows this session the rows of one controller under the daemon's names, as if they were tables of its own. Only who
/// may read the tables of all controllers gets it. What the database answers; not valid when it is done.
[[nodiscard]] QSqlError ShowOnly(const QSqlDatabase& database, const QString& controller);

} // namespace CentreConnection
