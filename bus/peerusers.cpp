#include "peerusers.h"

#include <QRegularExpression>

#include <pwd.h>

#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

PeerUsers::PeerUsers(const QString& names)
{
    static const QRegularExpression between(u"[ ,]+"_s);
    const QStringList named = names.split(between, Qt::SkipEmptyParts);
    if (named.isEmpty())
        return;
    admitted = {0, ::geteuid()};
    for (const QString& name : named) {
        if (const passwd* const user = ::getpwnam(name.toUtf8().constData()))
            admitted->append(user->pw_uid);
        else
            unknown.append(name);
    }
}

std::optional<uid_t> PeerUsers::Refused(qintptr descriptor) const
{
    if (!admitted)
        return std::nullopt;
    ucred peer{0, static_cast<uid_t>(-1), 0};
    socklen_t size = sizeof(peer);
    ::getsockopt(static_cast<int>(descriptor), SOL_SOCKET, SO_PEERCRED, &peer, &size); // on failure it is nobody's
    return admitted->contains(peer.uid) ? std::nullopt : std::optional(peer.uid);
}
