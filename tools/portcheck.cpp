#include "portcheck.h"

#include "person.h"
#include "portlock.h"
#include "texts.h"

#include <QDir>
#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Weight = Finding::Weight;

namespace {

struct Port {
    QString remark; ///< empty: it may be used
    Weight weight = Weight::Problem;
    dev_t device = 0;
};

// As the daemon's serial port takes a name.
QString PathOf(const QString& portName)
{
    const bool isPath = portName.startsWith(u'/') || portName.startsWith("./"_L1) || portName.startsWith("../"_L1);
    return isPath ? portName : "/dev/"_L1 + portName;
}

bool HasOpen(const QString& process, dev_t device)
{
    const QString descriptors = u"/proc/%1/fd/"_s.arg(process);
    for (const QString& descriptor : QDir(descriptors).entryList(QDir::Files | QDir::System)) {
        struct stat status { };
        if (::stat(QFile::encodeName(descriptors + descriptor).constData(), &status) == 0 && S_ISCHR(status.st_mode)
            && status.st_rdev == device)
            return true;
    }
    return false;
}

QString ProgramOf(const QString& process)
{
    QFile name(u"/proc/%1/comm"_s.arg(process));
    return name.open(QIODevice::ReadOnly) ? QString::fromUtf8(name.readAll()).trimmed() : QString();
}

struct Holder {
    QString program;
    QString process; ///< its number
    [[nodiscard]] bool IsDaemon() const { return program == "ravelin"_L1; }
};

// Of another user's programs only root sees what they have open.
Holder HolderOf(dev_t device)
{
    Holder holder;
    for (const QString& process : QDir(u"/proc"_s).entryList({u"[1-9]*"_s}, QDir::Dirs)) {
        if (HasOpen(process, device))
            holder = {ProgramOf(process), process};
        if (holder.IsDaemon())
            break;
    }
    return holder;
}

// The daemon wants its line for itself: while it runs the line can be opened by nobody but root.
Port Held(const Holder& holder, dev_t device)
{
    if (holder.IsDaemon())
        return {Texts::tr("the daemon runs (process %1) and has it, as it should").arg(holder.process), Weight::Hint,
            device};
    if (holder.process.isEmpty())
        return {Texts::tr("a program of another user has it, the daemon if that is running"), Weight::Problem, device};
    return {Texts::tr("another program has it: %1 (process %2)").arg(holder.program, holder.process), Weight::Problem,
        device};
}

Port Refused(const struct stat& status)
{
    const Person person = Person::Looking();
    const QString group = GroupName(status.st_gid);
    QString remark = Texts::tr("the user %1 may not open it; it belongs to the user %2 and the group %3, mode %4")
                         .arg(person.user, UserName(status.st_uid), group, QString::number(status.st_mode & 07777U, 8));
    if ((status.st_mode & S_IRGRP) && (status.st_mode & S_IWGRP) && !person.groups.contains(group))
        remark += Texts::tr("; put the user into the group: adduser %1 %2").arg(person.user, group);
    return {remark, Weight::Problem, status.st_rdev};
}

// What a process that has ended left behind its own user replaces, and root.
bool IsInTheWay(const PortLock& lock)
{
    return lock.running || (::geteuid() != 0 && ::geteuid() != lock.owner);
}

Port LookAt(const QString& name)
{
    const QByteArray path = QFile::encodeName(PathOf(name));
    struct stat status { };
    if (::stat(path.constData(), &status) != 0)
        return {qt_error_string(errno)};
    if (!S_ISCHR(status.st_mode))
        return {Texts::tr("it is no device")};
    const int descriptor = ::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0 && errno == EBUSY)
        return Held(HolderOf(status.st_rdev), status.st_rdev);
    if (descriptor < 0 && errno == EACCES)
        return Refused(status);
    if (descriptor < 0)
        return {qt_error_string(errno)};
    const bool isLine = ::isatty(descriptor) == 1;
    ::close(descriptor);
    if (!isLine)
        return {Texts::tr("it is no serial line"), Weight::Problem, status.st_rdev};
    const Holder holder = HolderOf(status.st_rdev);
    if (holder.IsDaemon())
        return Held(holder, status.st_rdev);
    const std::optional<PortLock> lock = PortLock::Find(name);
    const QString remark = lock && IsInTheWay(*lock) ? lock->Text() : QString();
    return {remark, Weight::Problem, status.st_rdev};
}

Finding Sentence(const QString& key, const QString& name, const QString& remark, Weight weight = Weight::Problem)
{
    return {key, u"%1, %2: %3"_s.arg(key, name, remark), weight};
}

} // namespace

Findings PortFindings(const SysVar& vars, bool hasSubstationMeter)
{
    const auto modemKey = u"Main/PortKS"_s;
    const auto substationKey = u"Main/PortCounterKTP"_s;
    Findings findings;
    const Port modem = LookAt(vars.PortKS);
    if (!modem.remark.isEmpty())
        findings.append(Sentence(modemKey, vars.PortKS, modem.remark, modem.weight));
    if (!hasSubstationMeter) // the port is not opened then
        return findings;
    const Port substation = LookAt(vars.PortCounterKTP);
    const bool isSame = modem.device != 0 && modem.device == substation.device;
    if (vars.PortKS == vars.PortCounterKTP || isSame)
        findings.append(Sentence(substationKey, vars.PortCounterKTP, Texts::tr("this is the modem's line")));
    else if (!substation.remark.isEmpty())
        findings.append(Sentence(substationKey, vars.PortCounterKTP, substation.remark, substation.weight));
    return findings;
}
