#include "appendfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

AppendFile::AppendFile(QString path_) : path(std::move(path_)) { }

AppendFile::~AppendFile()
{
    Close();
}

bool AppendFile::WriteLine(const QByteArray& line)
{
    if (!EnsureOpen())
        return false;

    QByteArray bytes = line + '\n';
    if (cutShort)
        bytes.prepend('\n');

    ssize_t written = -1;
    do {
        written = ::write(descriptor, bytes.constData(), static_cast<size_t>(bytes.size()));
    } while (written < 0 && errno == EINTR);

    if (written == bytes.size()) {
        cutShort = false;
        return true;
    }
    lastError = written < 0 ? errno : ENOSPC;
    cutShort = cutShort || written > 0;
    return false;
}

QString AppendFile::ErrorString() const
{
    return qt_error_string(lastError);
}

bool AppendFile::EnsureOpen()
{
    if (descriptor >= 0 && StillAtItsPath())
        return true;
    Close();

    QDir().mkpath(QFileInfo(path).path());
    constexpr int Flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW;
    descriptor = ::open(QFile::encodeName(path).constData(), Flags, 0644);
    if (descriptor < 0)
        lastError = errno;
    cutShort = false;
    return descriptor >= 0;
}

bool AppendFile::StillAtItsPath() const
{
    struct stat atPath = {};
    struct stat opened = {};
    return ::lstat(QFile::encodeName(path).constData(), &atPath) == 0 && ::fstat(descriptor, &opened) == 0
        && atPath.st_dev == opened.st_dev && atPath.st_ino == opened.st_ino;
}

void AppendFile::Close()
{
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = -1;
}
