#pragma once

#include <QString>

#include <optional>

/// The lock file by which the programs of a computer keep a serial line to themselves. The serial library makes it when
/// it opens a port, and removes it when it closes the port. A program that was killed leaves it behind. The library
/// then replaces a file of its own user. But the directory is sticky: only the file's owner and root can remove the
/// file, and for all other users the line stays locked.
struct PortLock {
    /// The file that is there now for the port that the settings call `portName`; none if the line is free.
    [[nodiscard]] static std::optional<PortLock> Find(const QString& portName);

    /// Where the serial library keeps the file of `portName`, there or not. By the port's name, not by its device: two
    /// names of one line have a file each.
    [[nodiscard]] static QString FileOf(const QString& portName);

    QString file;
    uint owner = 0; ///< the user whose file it is
    qint64 process = 0; ///< that made it; 0 if the file does not tell or cannot be read
    bool running = false; ///< there is a process of that number now

    /// "locked by process 123, lock file /run/lock/LCK..ttyUSB0"; with other words for a process that has ended, and
    /// for a file that names none.
    [[nodiscard]] QString Text() const;
};
