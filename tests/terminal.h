#pragma once

#include "pseudoterminal.h"

#include <QTest>

#include <poll.h>
#include <sys/ioctl.h>

/// What the system was last asked to make of a line, for example "19200 8N1", with its flow control, if any, behind it:
/// by the daemon, until the other side reads. A pseudo-terminal itself forgets word size and parity.
[[nodiscard]] QByteArray LineSettings();

/// Returns when the daemon's side of `line` can read all of `bytes`.
inline void SayTo(PseudoTerminal& line, const QByteArray& bytes)
{
    int unread = 0;
    ::ioctl(line.DaemonSide(), FIONREAD, &unread);
    const qsizetype all = unread + line.Write(bytes);
    for (int ms = 0; unread < all && ms < 5000; ++ms) {
        ::poll(nullptr, 0, 1);
        ::ioctl(line.DaemonSide(), FIONREAD, &unread);
    }
    QCOMPARE(unread, all);
}
