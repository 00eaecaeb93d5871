#include "buscheck.h"

#include "texts.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>

#include <utility>

#include <sys/stat.h>
#include <sys/un.h>

using namespace Qt::StringLiterals;

namespace {

const auto NotSet = u"NoName"_s;
const auto AdminKey = u"Base/AdminServerName"_s;
const auto OwnKey = u"Base/ServerName"_s;
const auto PeersKey = u"Base/Connections"_s;

bool IsName(const QString& name)
{
    return !name.isEmpty() && name != NotSet;
}

// As local sockets are found.
QString SocketOf(const QString& name)
{
    return name.startsWith(u'/') ? name : QDir::cleanPath(QDir::tempPath()) + u'/' + name;
}

bool EverybodyMayWrite(const QString& directory)
{
    struct stat status { };
    return ::stat(QFile::encodeName(directory).constData(), &status) == 0 && (status.st_mode & S_IWOTH);
}

Findings Missing(const BusNames& names)
{
    Findings findings;
    const std::pair<QString, QString> keys[] = {{AdminKey, names.admin}, {OwnKey, names.own}, {PeersKey, names.peers}};
    for (const auto& [key, value] : keys) {
        if (value == NotSet)
            findings.append({key, Texts::tr("%1 is not set (NoName)").arg(key)});
        else if (value.isEmpty() && key != PeersKey) // there may be no peers
            findings.append({key, Texts::tr("%1 is empty").arg(key)});
    }
    return findings;
}

// The own server is started when all peers have answered, so a daemon that waits for itself never has one.
Findings Clashes(const BusNames& names, const QStringList& peers)
{
    Findings findings;
    if (peers.contains(names.own))
        findings.append({PeersKey,
            Texts::tr("%1 names the daemon itself, \"%2\": its own server would never start")
                .arg(PeersKey, names.own)});
    if (IsName(names.own) && names.own == names.admin)
        findings.append({OwnKey, Texts::tr("%1 and %2 are the same, \"%3\"").arg(OwnKey, AdminKey, names.own)});
    for (const QString& peer : peers)
        if (peer.contains(u','))
            findings.append({PeersKey,
                Texts::tr("%1: \"%2\" is one name; between two names stands a blank, no comma").arg(PeersKey, peer)});
    return findings;
}

QString Obstacle(const QString& name)
{
    constexpr qsizetype LongestPath = sizeof(sockaddr_un::sun_path) - 1;
    const QString path = SocketOf(name);
    const QFileInfo directory(QFileInfo(path).path());
    if (!name.startsWith(u'/') && QDir::tempPath().isEmpty()) // the socket would be looked for in "/"
        return Texts::tr("there is no directory %1").arg(qEnvironmentVariable("TMPDIR"));
    if (QFile::encodeName(path).size() > LongestPath)
        return Texts::tr("%1 is too long for a socket, %2 bytes are the most").arg(path).arg(LongestPath);
    if (!directory.isDir())
        return Texts::tr("there is no directory %1").arg(directory.filePath());
    if (!directory.isWritable())
        return Texts::tr("the directory %1 cannot be written").arg(directory.filePath());
    return {};
}

} // namespace

Findings BusFindings(const BusNames& names)
{
    const QStringList peers =
        IsName(names.peers) ? names.peers.split(u' ', Qt::SkipEmptyParts) : QStringList(); // as the daemon splits them
    Findings findings = Missing(names) + Clashes(names, peers);
    if (IsName(names.own))
        if (const QString obstacle = Obstacle(names.own); !obstacle.isEmpty())
            findings.append({OwnKey, Texts::tr("%1, %2: %3").arg(OwnKey, names.own, obstacle)});

    QMap<QString, QStringList> exposed;
    for (const QString& name : QStringList{names.admin, names.own} + peers)
        if (const QString directory = QFileInfo(SocketOf(name)).path(); IsName(name) && EverybodyMayWrite(directory))
            exposed[directory].append(name);
    for (auto place = exposed.cbegin(); place != exposed.cend(); ++place)
        findings.append({u"bus"_s,
            Texts::tr("everybody may write into %1, so whoever is first there can take a name of the bus (%2); give "
                      "the bus a directory of its own")
                .arg(place.key(), place.value().join(", "_L1)),
            Finding::Weight::Hint});
    return findings;
}
