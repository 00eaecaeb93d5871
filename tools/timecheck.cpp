#include "timecheck.h"

#include "texts.h"

#include <QProcess>
#include <QStandardPaths>
#include <QStringList>

#include <algorithm>
#include <csignal>

#include <sys/prctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

struct Listing {
    QString obstacle; ///< why there is none
    QStringList lines;
    QString complaint; ///< the program's own
};

// In a group of its own, so that it ends with everything that it started; and at the latest with this process.
void LeadGroup()
{
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
}

Listing Ask()
{
    constexpr int LongestMs = 30000;
    QProcess program;
    program.setChildProcessModifier(LeadGroup);
    program.start(u"ntpq"_s, {u"-pn"_s}); // its stdin stays open, as the daemon leaves it
    if (!program.waitForStarted(LongestMs))
        return {program.errorString(), {}, {}};
    const auto group = static_cast<pid_t>(program.processId());
    const bool isDone = program.waitForFinished(LongestMs);
    ::kill(-group, SIGKILL);
    if (!isDone) {
        program.waitForFinished();
        return {Texts::tr("it has not ended within %1 s").arg(LongestMs / 1000), {}, {}};
    }
    return {{}, QString::fromUtf8(program.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts),
        QString::fromLocal8Bit(program.readAllStandardError()).simplified()};
}

/// Of the servers: the first column, without the character for the server's state.
QStringList Addresses(const QStringList& lines)
{
    QStringList addresses;
    bool isHeading = true;
    for (const QString& line : lines) {
        if (!isHeading)
            addresses.append(line.mid(1).section(u' ', 0, 0, QString::SectionSkipEmpty));
        isHeading = isHeading && !line.startsWith(u'=');
    }
    return addresses;
}

Finding NotListed(const QString& server, const Listing& listing)
{
    const QStringList addresses = Addresses(listing.lines);
    const QString sentence = addresses.isEmpty()
        ? Texts::tr("Main/NtpServer, %1: ntpq -pn lists no server, the time daemon does not work; polling would stand "
                    "still from the first time sweep on")
        : Texts::tr("Main/NtpServer, %1: ntpq -pn does not list it; polling would stand still from the first time "
                    "sweep on");
    const QString seen = addresses.isEmpty() ? listing.complaint : addresses.join(", "_L1);
    return {u"Main/NtpServer"_s, sentence.arg(server) + (seen.isEmpty() ? QString() : u" (%1)"_s.arg(seen))};
}

} // namespace

Findings TimeFindings(const QString& ntpServer)
{
    const auto About = u"ntpq"_s;
    if (QStandardPaths::findExecutable(About).isEmpty())
        return {{About, Texts::tr("ntpq is not in PATH: polling would stop at the first time sweep")}};
    const Listing listing = Ask();
    if (!listing.obstacle.isEmpty())
        return {{About, Texts::tr("ntpq -pn: %1; polling would stop at the first time sweep").arg(listing.obstacle)}};
    const bool isListed = ntpServer.isEmpty() // the daemon, too, looks for it anywhere in a line
        || std::any_of(
            listing.lines.begin(), listing.lines.end(), [&](const QString& line) { return line.contains(ntpServer); });
    return isListed ? Findings() : Findings{NotListed(ntpServer, listing)};
}
