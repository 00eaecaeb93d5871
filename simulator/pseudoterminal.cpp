#include "pseudoterminal.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

PseudoTerminal::~PseudoTerminal()
{
    Close();
}

bool PseudoTerminal::Open(const QString& path, QString& error)
{
    if (!OpenPair()) {
        error = u"Cannot make a pseudo-terminal: %1"_s.arg(qt_error_string(errno));
        Close();
        return false;
    }
    if (!Publish(path, error)) {
        Close();
        return false;
    }
    return true;
}

bool PseudoTerminal::OpenPair()
{
    master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0)
        return false;
    slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (slave < 0 || ::tcgetattr(slave, &settings) != 0)
        return false;
    ::cfmakeraw(&settings);
    return ::tcsetattr(slave, TCSANOW, &settings) == 0;
}

bool PseudoTerminal::Publish(const QString& path, QString& error)
{
    const QFileInfo place(path);
    if (!QDir().mkpath(place.path())) {
        error = u"Cannot make the directory %1"_s.arg(place.path());
        return false;
    }
    if (place.exists() && !place.isSymLink()) {
        error = u"%1 is in the way: not a symbolic link"_s.arg(path);
        return false;
    }
    const QByteArray name = QFile::encodeName(path);
    ::unlink(name.constData());
    if (::symlink(::ptsname(master), name.constData()) != 0) {
        error = u"Cannot make the symbolic link %1: %2"_s.arg(path, qt_error_string(errno));
        return false;
    }
    link = path;
    return true;
}

void PseudoTerminal::Close()
{
    if (!link.isEmpty() && QFile::symLinkTarget(link) == QFile::decodeName(::ptsname(master)))
        QFile::remove(link);
    link.clear();
    for (int* const descriptor : {&slave, &master})
        if (*descriptor >= 0)
            ::close(std::exchange(*descriptor, -1));
}

QByteArray PseudoTerminal::Read()
{
    QByteArray bytes;
    std::array<char, 4096> buffer{};
    ssize_t size = 0;
    while ((size = ::read(master, buffer.data(), buffer.size())) > 0)
        bytes.append(buffer.data(), size);
    // A daemon that was killed leaves the line locked for the next one, and already set up as the next one wants it.
    // The system reports an error when only the parity is left to change, which a pseudo-terminal does not have.
    ::ioctl(slave, TIOCNXCL);
    ::tcsetattr(slave, TCSANOW, &settings);
    return bytes;
}

qsizetype PseudoTerminal::Write(const QByteArray& bytes)
{
    const ssize_t size = ::write(master, bytes.constData(), static_cast<size_t>(bytes.size()));
    return size < 0 ? 0 : size;
}
