#include "listeningsocket.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <grp.h>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <netdb.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int Backlog = 64;

QString ErrorText()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

int NewSocket(int family)
{
    return socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

/// Whether a program listens at the socket file.
bool IsAlive(const sockaddr_un& address)
{
    const int probe = NewSocket(AF_UNIX);
    const bool refused = probe >= 0 && connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0
        && errno == ECONNREFUSED;
    if (probe >= 0)
        close(probe);
    return !refused;
}

/// Removes what a dead program left. Otherwise tells why the file cannot be used.
QString MakeRoom(const QString& path, const sockaddr_un& address)
{
    struct stat status { };
    if (lstat(address.sun_path, &status) != 0)
        return errno == ENOENT ? QString() : u"\"%1\": %2"_s.arg(path, ErrorText());
    if (!S_ISSOCK(status.st_mode))
        return u"\"%1\" is there and is no socket"_s.arg(path);
    if (IsAlive(address))
        return u"\"%1\": a program listens there already"_s.arg(path);
    return unlink(address.sun_path) == 0 ? QString() : u"\"%1\": %2"_s.arg(path, ErrorText());
}

QString GiveToGroup(const char* file, const QString& group)
{
    if (group.isEmpty())
        return {};
    errno = 0;
    const struct group* entry = getgrnam(group.toLocal8Bit().constData());
    if (!entry)
        return u"there is no group \"%1\""_s.arg(group);
    if (chown(file, static_cast<uid_t>(-1), entry->gr_gid) != 0)
        return u"the group \"%1\" cannot be given to the socket: %2"_s.arg(group, ErrorText());
    return {};
}

/// "host:port" -> both; no port: empty.
std::pair<QString, QString> HostAndPort(const QString& text)
{
    const qsizetype colon = text.lastIndexOf(u':');
    if (colon <= 0)
        return {text, {}};
    QString host = text.first(colon);
    if (host.startsWith(u'[') && host.endsWith(u']'))
        host = host.sliced(1, host.size() - 2);
    return {host, text.sliced(colon + 1)};
}

} // namespace

ListeningSocket::ListeningSocket(ListeningSocket&& other) noexcept
{
    *this = std::move(other);
}

ListeningSocket& ListeningSocket::operator=(ListeningSocket&& other) noexcept
{
    std::swap(descriptor, other.descriptor);
    std::swap(file, other.file);
    std::swap(device, other.device);
    std::swap(inode, other.inode);
    return *this;
}

int ListeningSocket::TakeDescriptor()
{
    return std::exchange(descriptor, -1);
}

void ListeningSocket::Close()
{
    if (descriptor >= 0)
        close(std::exchange(descriptor, -1));
    struct stat status { };
    if (!file.isEmpty() && lstat(file.constData(), &status) == 0 && status.st_dev == device && status.st_ino == inode)
        unlink(file.constData());
    file.clear();
}

OpenedSockets OpenedSockets::AtFile(const QString& path, const QString& group)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(path);
    if (name.isEmpty() || name.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return {.sockets = {},
            .problem = u"\"%1\": a socket's path has 1 to %2 bytes"_s.arg(path).arg(sizeof address.sun_path - 1)};
    std::memcpy(address.sun_path, name.constData(), static_cast<size_t>(name.size()));
    if (const QString problem = MakeRoom(path, address); !problem.isEmpty())
        return {.sockets = {}, .problem = problem};

    ListeningSocket socket;
    socket.descriptor = NewSocket(AF_UNIX);
    // Nobody else may connect before the group is set.
    const mode_t before = umask(0177);
    const bool isBound = socket.descriptor >= 0
        && bind(socket.descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    umask(before);
    if (!isBound)
        return {.sockets = {}, .problem = u"\"%1\": %2"_s.arg(path, ErrorText())};
    struct stat status { };
    if (lstat(address.sun_path, &status) == 0) {
        socket.file = name;
        socket.device = status.st_dev;
        socket.inode = status.st_ino;
    }
    if (const QString problem = GiveToGroup(address.sun_path, group); !problem.isEmpty())
        return {.sockets = {}, .problem = u"\"%1\": %2"_s.arg(path, problem)};
    if (chmod(address.sun_path, 0660) != 0 || listen(socket.descriptor, Backlog) != 0)
        return {.sockets = {}, .problem = u"\"%1\": %2"_s.arg(path, ErrorText())};
    OpenedSockets opened;
    opened.sockets.push_back(std::move(socket));
    return opened;
}

OpenedSockets OpenedSockets::AtAddress(const QString& address, QString& host)
{
    const auto [name, port] = HostAndPort(address);
    host = name;
    bool isNumber = false;
    const int number = port.toInt(&isNumber);
    if (!isNumber || number < 0 || number > 65535 || name.isEmpty())
        return {.sockets = {}, .problem = u"\"%1\" is not an address and a port, as 127.0.0.1:8480"_s.arg(address)};

    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int failure = getaddrinfo(name.toLocal8Bit().constData(), port.toLatin1().constData(), &wanted, &found);
    if (failure != 0)
        return {.sockets = {}, .problem = u"\"%1\": %2"_s.arg(address, QString::fromLocal8Bit(gai_strerror(failure)))};
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> release(found, &freeaddrinfo);

    OpenedSockets opened;
    for (const addrinfo* each = found; each; each = each->ai_next) {
        ListeningSocket socket;
        socket.descriptor = NewSocket(each->ai_family);
        const int on = 1;
        if (socket.descriptor >= 0 && setsockopt(socket.descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0
            && bind(socket.descriptor, each->ai_addr, each->ai_addrlen) == 0
            && listen(socket.descriptor, Backlog) == 0) {
            opened.sockets.push_back(std::move(socket));
            continue;
        }
        // A name may stand for an address of a family that this machine does not speak.
        opened.problem = u"\"%1\": %2"_s.arg(address, ErrorText());
        if (errno != EAFNOSUPPORT && errno != EADDRNOTAVAIL)
            return {.sockets = {}, .problem = opened.problem};
    }
    if (!opened.sockets.empty())
        opened.problem.clear();
    return opened;
}
