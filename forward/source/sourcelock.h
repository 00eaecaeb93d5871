#pragma once

#include <QString>

/// One forwarder reads a source. The system frees the lock with the end of the process, however that comes.
class SourceLock final {
public:
    /// `path` is a file for the lock alone, which stays.
    explicit SourceLock(const QString& path);
    ~SourceLock();
    Q_DISABLE_COPY_MOVE(SourceLock)

    /// Empty, or why this process may not read the source.
    [[nodiscard]] QString Take();

    /// Another process has it.
    [[nodiscard]] static bool IsHeld(const QString& path);

private:
    const QString path;
    int descriptor = -1;
};
