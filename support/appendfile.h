#pragma once

#include <QByteArray>
#include <QString>

/// A text file that grows at its end, one line with each write. It is opened when the first line comes. Follows its
/// path: when the file was renamed or deleted (log rotation) the next line opens a new one. A symbolic link at the path
/// is not followed: a user who may write in the directory could lead the lines into any file.
class AppendFile final {
public:
    explicit AppendFile(QString path);
    ~AppendFile();
    AppendFile(const AppendFile&) = delete;
    AppendFile& operator=(const AppendFile&) = delete;

    /// Writes `line` and a line feed. False when the line is not in the file, or only a part of it; ErrorString() says
    /// why. A line that was cut short (disk full) stands alone: the next one begins on a line of its own.
    bool WriteLine(const QByteArray& line);

    /// The system's reason of the last failure.
    [[nodiscard]] QString ErrorString() const;
    [[nodiscard]] QString Path() const { return path; }

private:
    bool EnsureOpen();
    [[nodiscard]] bool StillAtItsPath() const;
    void Close();

    QString path;
    int descriptor = -1;
    int lastError = 0;
    bool cutShort = false;
};
