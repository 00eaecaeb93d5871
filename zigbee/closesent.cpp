#include "closesent.h"

#include <poll.h>
#include <sys/ioctl.h>

void CloseSent(QSerialPort& port)
{
    constexpr int LongestMs = 500;
    constexpr int LookEveryMs = 5;
    if (!port.isOpen())
        return;
    int unsent = 0;
    for (int ms = 0; ms < LongestMs; ms += LookEveryMs) {
        if (::ioctl(static_cast<int>(port.handle()), TIOCOUTQ, &unsent) != 0 || unsent == 0)
            break;
        ::poll(nullptr, 0, LookEveryMs);
    }
    port.close();
}
