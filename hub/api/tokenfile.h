#pragma once

#include <QByteArray>
#include <QString>

/// The secret that those who command over TCP show.
struct TokenFile {
    QByteArray token; ///< empty when there is a problem
    QString problem;

    /// The first line of a file. It must have 16 to 1024 bytes, visible ones without blanks, and nobody but the owner
    /// and the group may read the file.
    [[nodiscard]] static TokenFile Read(const QString& path);
};
