#include "newfile.h"

#include "texts.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

bool Synchronise(const QString& path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const bool isDone = ::fsync(descriptor) == 0;
    ::close(descriptor);
    return isDone;
}

} // namespace

NewFile::NewFile(const QString& name_, Existing existing_)
    : name(QFileInfo(name_).absoluteFilePath()),
      path(u"%1.%2.part"_s.arg(name).arg(::getpid())),
      existing(existing_)
{
}

NewFile::~NewFile()
{
    if (isMade)
        QFile::remove(path);
}

bool NewFile::Begin()
{
    if (existing == Existing::Stays && QFileInfo::exists(name))
        return Fail(Texts::tr("it is there already; --replace takes its place"));
    constexpr mode_t OwnerAndGroup = 0640;
    const int descriptor = ::open(
        QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, OwnerAndGroup);
    if (descriptor < 0)
        return Fail(qt_error_string(errno));
    isMade = true;
    const bool isOurs = ::fchmod(descriptor, OwnerAndGroup) == 0; // whatever the umask
    const QString why = qt_error_string(errno);
    ::close(descriptor);
    return isOurs || Fail(why);
}

bool NewFile::Finish()
{
    if (!Synchronise(path) || !Rename())
        return Fail(qt_error_string(errno));
    isMade = false;
    return Synchronise(QFileInfo(name).path()) || Fail(qt_error_string(errno));
}

bool NewFile::Rename() const
{
    const QByteArray from = QFile::encodeName(path);
    const QByteArray to = QFile::encodeName(name);
    if (existing == Existing::IsReplaced)
        return ::rename(from.constData(), to.constData()) == 0;
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return true;
    // Some file systems cannot do that in one step.
    return errno == EINVAL && !QFileInfo::exists(name) && ::rename(from.constData(), to.constData()) == 0;
}

bool NewFile::Fail(const QString& why)
{
    error = name + ": "_L1 + why;
    return false;
}
