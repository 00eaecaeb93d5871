#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

#include <sys/types.h>

/// A descriptor that listens; closed with the object, and its socket file removed if it is still the same file.
class ListeningSocket final {
public:
    ListeningSocket() = default;
    ~ListeningSocket() { Close(); }
    ListeningSocket(ListeningSocket&& other) noexcept;
    ListeningSocket& operator=(ListeningSocket&& other) noexcept;
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    [[nodiscard]] int Descriptor() const { return descriptor; }

    /// The descriptor passes to the caller, who closes it; the socket file stays this object's.
    [[nodiscard]] int TakeDescriptor();

    void Close();

private:
    friend struct OpenedSockets;

    int descriptor = -1;
    QByteArray file; ///< of a socket file
    dev_t device = 0;
    ino_t inode = 0;
};

/// Sockets that listen, or in words why there are none.
struct OpenedSockets {
    std::vector<ListeningSocket> sockets;
    QString problem;

    /// A socket file with mode 0660 and, unless empty, this group. A file that a dead program left is replaced; one at
    /// which a program still listens, and a file that is no socket, stay and are a problem.
    [[nodiscard]] static OpenedSockets AtFile(const QString& path, const QString& group);

    /// TCP at "address:port", "[address]:port" or "name:port", where a name stands for all its addresses; port 0 is
    /// one that the system chooses. `host` gets what stands before the port.
    [[nodiscard]] static OpenedSockets AtAddress(const QString& address, QString& host);
};
