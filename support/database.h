#pragma once

#include <QSettings>
#include <QSqlError>
#include <QString>

/// Opens a Qt SQL connection from the keys "BDType" ("sqlite3" or "postgres"), "BaseName", "SqlHostName", "SqlPort",
/// "SqlLogin" and "SqlPassword" of `group`. An empty `connectionName` is replaced by a new one. A relative SQLite file
/// name is relative to the program's directory. `extra` is handed to the driver as connection options
/// ("name=value;..."). On failure the connection is not left behind, and the error is valid.
/// Part of the given interface; the daemon does not call it.
[[nodiscard]] QSqlError openDataBaseBySettings(
    QString& connectionName, QSettings& settings, const QString& group, QString extra);
