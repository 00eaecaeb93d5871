#include "terminal.h"

#include <dlfcn.h>

namespace {

constexpr tcflag_t Forgotten = CSIZE | PARENB | PARODD;
termios last{};

template <typename Function>
Function* SystemsOwn(Function*, const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

// These two take the place of the system's functions, for the serial library too, which changes one setting after the
// other and reads back what it has changed.
extern "C" int tcsetattr(int descriptor, int actions, const termios* settings) noexcept
{
    static const auto system = SystemsOwn(&tcsetattr, "tcsetattr");
    last = *settings;
    return system(descriptor, actions, settings);
}

extern "C" int tcgetattr(int descriptor, termios* settings) noexcept
{
    static const auto system = SystemsOwn(&tcgetattr, "tcgetattr");
    const int result = system(descriptor, settings);
    settings->c_cflag = (settings->c_cflag & ~Forgotten) | (last.c_cflag & Forgotten);
    return result;
}

QByteArray LineSettings()
{
    const auto has = [](tcflag_t flags, tcflag_t flag) { return (flags & flag) != 0; };
    const tcflag_t control = last.c_cflag;
    const QByteArray speed = ::cfgetospeed(&last) == B19200 ? "19200"
        : ::cfgetospeed(&last) == B2400                     ? "2400"
                                                            : "other speed";
    const char* const size = (control & CSIZE) == CS8 ? " 8" : (control & CSIZE) == CS7 ? " 7" : " other size";
    const char* const parity = !has(control, PARENB) ? "N" : has(control, PARODD) ? "O" : "E";
    return speed + size + parity + (has(control, CSTOPB) ? "2" : "1") + (has(control, CRTSCTS) ? " RTS/CTS" : "")
        + (has(last.c_iflag, IXON | IXOFF) ? " XON/XOFF" : "");
}
