#pragma once

#include "sweepmessage.h"

#include <QDate>

/// The SQLite files that the sweeps become.
namespace SweepFile {

/// Whether `name` is one that the daemon gives: a stamp, behind "time_" for clocks. Such a name stays in its directory.
[[nodiscard]] bool IsName(QStringView name, SweepMessage::Kind kind);

/// The day in the name of a file; invalid when it has none.
[[nodiscard]] QDate DayOf(const QString& name);

/// Writes the message as `directory`/its fileName, which IsName(). The directory is made when it is missing. The file
/// is there as a whole, over one of that name, or not at all, also after a crash or a power cut. False when it was not
/// written; `reason` is the system's or the database's.
[[nodiscard]] bool Write(const QString& directory, const SweepMessage& message, QString& reason);

/// Removes the files of all days but the newest `keepDays` that any file has, and what a crash left half-written. By
/// the names alone: a clock that is wrong for an hour must not remove everything.
void Prune(const QString& directory, int keepDays);

} // namespace SweepFile
