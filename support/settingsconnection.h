#pragma once

#include <QList>
#include <QSqlDatabase>
#include <QSqlError>

struct SysVar;

/// A connection to the database that the settings name. The daemon and whatever reads its rows make it with these.
namespace SettingsConnection {

/// A new connection of that name to the database of `vars`, not open yet. With an unknown kind of database there is
/// none.
[[nodiscard]] QSqlDatabase Add(const QString& connection, const SysVar& vars);

/// Gives an open connection the session settings that the statements need. SQLite needs none. What failed.
[[nodiscard]] QList<QSqlError> PrepareSession(const QSqlDatabase& database);

} // namespace SettingsConnection
