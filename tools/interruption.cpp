#include "interruption.h"

#include <array>
#include <csignal>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

Interruption::Interruption()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        sigaddset(&set, number);
    ::sigprocmask(SIG_BLOCK, &set, nullptr);
    sigdelset(&set, SIGPIPE); // a write that fails says the same
    descriptor = ::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

Interruption::~Interruption()
{
    ::close(descriptor);
}

bool Interruption::HasCome() const
{
    return ComesWithin(0);
}

bool Interruption::ComesWithin(int milliseconds) const
{
    // No event is asked of stdout: an error is told all the same.
    std::array<pollfd, 2> looked{{{descriptor, POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    return ::poll(looked.data(), looked.size(), milliseconds) > 0
        && (looked[0].revents != 0 || (looked[1].revents & (POLLERR | POLLHUP)) != 0);
}
