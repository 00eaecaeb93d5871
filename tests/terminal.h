#pragma once

#include "pseudoterminal.h"

#include <QTest>

#include <poll.h>
#include <sys/ioctl.h>

/// To which the daemon has set `line`, until its other side reads.
inline speed_t SpeedOf(const PseudoTerminal& line)
{
    termios settings{};
    ::tcgetattr(line.DaemonSide(), &settings);
    return ::cfgetospeed(&settings);
}

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
