#include "portlock.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <csignal>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// The serial library takes the first of these that it can read.
QString LockDirectory()
{
    for (const char* const path : {"/var/lock", "/var/spool/uucp", "/tmp", "/var/tmp", "/run/lock"}) {
        const QFileInfo directory(QString::fromLatin1(path));
        if (directory.isReadable())
            return directory.canonicalFilePath();
    }
    return u"/run/lock"_s;
}

// The first line is the number, of our programs and of others.
qint64 MakerOf(const QString& path)
{
    constexpr qint64 LongestLine = 64;
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readLine(LongestLine).toInt() : 0;
}

bool IsRunning(qint64 process)
{
    return process > 0 && (::kill(static_cast<pid_t>(process), 0) == 0 || errno == EPERM);
}

} // namespace

QString PortLock::FileOf(const QString& portName)
{
    constexpr auto Devices = "/dev/"_L1;
    QString name = portName.startsWith(Devices) ? portName.sliced(Devices.size()) : portName;
    return LockDirectory() + "/LCK.."_L1 + name.replace(u'/', u'_');
}

std::optional<PortLock> PortLock::Find(const QString& portName)
{
    const QFileInfo info(FileOf(portName));
    if (!info.exists())
        return std::nullopt;
    PortLock lock;
    lock.file = info.filePath();
    lock.owner = info.ownerId();
    lock.process = MakerOf(lock.file);
    lock.running = IsRunning(lock.process);
    return lock;
}

QString PortLock::Text() const
{
    if (process <= 0)
        return QCoreApplication::translate("PortLock", "locked, lock file %1").arg(file);
    const QString text = running
        ? QCoreApplication::translate("PortLock", "locked by process %1, lock file %2")
        : QCoreApplication::translate("PortLock", "locked by process %1, which has ended, lock file %2");
    return text.arg(process).arg(file);
}
