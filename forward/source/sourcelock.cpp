#include "sourcelock.h"

#include "forwardtexts.h"

#include <QFile>
#include <QThread>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr mode_t Rights = 0660;
constexpr unsigned long BetweenTriesMs = 20;

} // namespace

SourceLock::SourceLock(const QString& path_) : path(path_) { }

SourceLock::~SourceLock()
{
    if (descriptor >= 0)
        ::close(descriptor);
}

QString SourceLock::Take()
{
    descriptor = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, Rights);
    if (descriptor < 0)
        return u"%1: %2"_s.arg(path, qt_error_string(errno));
    // Who only asks whether it is held holds it for a moment.
    for (int tries = 0; tries < 5; ++tries) {
        if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0)
            return {};
        if (errno != EWOULDBLOCK)
            break;
        QThread::msleep(BetweenTriesMs);
    }
    return errno == EWOULDBLOCK ? ForwardTexts::tr("another forwarder delivers this source, lock file %1").arg(path)
                                : u"%1: %2"_s.arg(path, qt_error_string(errno));
}

bool SourceLock::IsHeld(const QString& path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (descriptor < 0)
        return false;
    const bool isHeld = ::flock(descriptor, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    ::close(descriptor);
    return isHeld;
}
