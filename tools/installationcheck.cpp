#include "installationcheck.h"

#include "registerdatabase.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

struct Port {
    QString problem;
    dev_t device = 0;
};

// As the daemon's serial port takes a name.
QString PathOf(const QString& portName)
{
    const bool isPath = portName.startsWith(u'/') || portName.startsWith("./"_L1) || portName.startsWith("../"_L1);
    return isPath ? portName : "/dev/"_L1 + portName;
}

Port LookAt(const QString& name)
{
    const QByteArray path = QFile::encodeName(PathOf(name));
    struct stat status { };
    if (::stat(path.constData(), &status) != 0)
        return {qt_error_string(errno)};
    if (!S_ISCHR(status.st_mode))
        return {u"it is no device"_s};
    const int descriptor = ::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return {errno == EBUSY ? u"another program has it, the daemon if that is running"_s : qt_error_string(errno)};
    const bool isLine = ::isatty(descriptor) == 1;
    ::close(descriptor);
    return {isLine ? QString() : u"it is no serial line"_s, status.st_rdev};
}

QString Sentence(const QString& key, const QString& name, const QString& problem)
{
    return u"%1, %2: %3"_s.arg(key, name, problem);
}

} // namespace

QStringList InstallationCheck::PortProblems(const SysVar& vars, bool hasSubstationMeter)
{
    QStringList problems;
    const Port modem = LookAt(vars.PortKS);
    if (!modem.problem.isEmpty())
        problems.append(Sentence(u"Main/PortKS"_s, vars.PortKS, modem.problem));
    if (!hasSubstationMeter) // the port is not opened then
        return problems;
    const Port substation = LookAt(vars.PortCounterKTP);
    if (!substation.problem.isEmpty())
        problems.append(Sentence(u"Main/PortCounterKTP"_s, vars.PortCounterKTP, substation.problem));
    if (vars.PortKS == vars.PortCounterKTP || (modem.device != 0 && modem.device == substation.device))
        problems.append(Sentence(u"Main/PortCounterKTP"_s, vars.PortCounterKTP, u"this is the modem's line"_s));
    return problems;
}

QStringList InstallationCheck::DatabaseProblems(const SysVar& vars, bool& hasSubstationMeter)
{
    RegisterDatabase database(vars);
    if (!database.OpenToRead())
        return {database.Error()};
    if (QStringList problems = database.Problems(); !problems.isEmpty()) {
        problems.removeDuplicates(); // of a file that is no database, every table is
        return problems;
    }
    const auto rows = database.Rows();
    if (!rows)
        return {database.Error()};
    if (rows->isEmpty())
        return {u"%1: no meter is registered"_s.arg(database.Name())};
    hasSubstationMeter =
        std::any_of(rows->begin(), rows->end(), [](const RegisterRow& row) { return row.type == u'1'; });
    return RegisterProblems(*rows);
}

QStringList InstallationCheck::LogProblems(const QString& logName)
{
    if (logName.isEmpty())
        return {};
    QFileInfo place(logName);
    const bool isThere = place.exists();
    while (!place.exists()) // the directories to it are made
        place = QFileInfo(place.absolutePath());
    if (place.isWritable() && (isThere ? place.isFile() : place.isDir()))
        return {};
    return {u"Base/LogName, %1: it cannot be written"_s.arg(logName)};
}

QStringList InstallationCheck::ProgramProblems()
{
    if (!QStandardPaths::findExecutable(u"ntpq"_s).isEmpty())
        return {};
    return {u"ntpq is not in PATH: polling would stop at the first time sweep"_s};
}
