#pragma once

#include <QMap>
#include <QString>

#include <optional>

class RegisterDatabase;

/// A copy of the daemon's database in a file, taken while it works, as of one moment.
namespace Dump {

/// An empty text, or why it could not be written.
[[nodiscard]] QString Write(const RegisterDatabase& database, const QString& path);

/// What is in a copy: rows by table.
struct Contents {
    QMap<QString, qint64> rows;
    QString problem; ///< empty: it was read to its end and is sound
};
/// Reads all of it.
[[nodiscard]] Contents Read(const RegisterDatabase& database, const QString& path);

} // namespace Dump
