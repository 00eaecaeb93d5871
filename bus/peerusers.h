#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

#include <sys/types.h>

/// Whose processes this one talks with on the bus.
class PeerUsers final {
public:
    /// Anybody's.
    PeerUsers() = default;

    /// Those of root, of this process's own user, and of the users named in `names`, with blanks or commas between
    /// them; anybody's when `names` names nobody. A name that the system does not know counts for nobody.
    explicit PeerUsers(const QString& names);

    /// The names that the system does not know.
    [[nodiscard]] const QStringList& Unknown() const { return unknown; }

    /// The user who is refused: the other end of the connected socket `descriptor` belongs to a process of theirs, or,
    /// where this process connected, to one that listens. None when the other end is welcome.
    [[nodiscard]] std::optional<uid_t> Refused(qintptr descriptor) const;

private:
    std::optional<QList<uid_t>> admitted;
    QStringList unknown;
};
