#include "progress.h"

#include "clock.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 PatienceMs = 2000;
constexpr qint64 StepMs = 200;

void Put(const QString& text)
{
    std::fprintf(stderr, "\r%s\x1b[K", qUtf8Printable(text));
    std::fflush(stderr);
}

} // namespace

Progress::Progress(const QString& what_)
    : what(what_),
      begun(CurrentDateTime()),
      isTerminal(::isatty(STDERR_FILENO) == 1)
{
}

Progress::~Progress()
{
    if (told.isValid())
        Put({});
}

void Progress::Reached(double part)
{
    if (!isTerminal)
        return;
    const QDateTime now = CurrentDateTime();
    if (begun.msecsTo(now) < PatienceMs || (told.isValid() && told.msecsTo(now) < StepMs))
        return;
    told = now;
    Put(u"%1: %2 %"_s.arg(what).arg(static_cast<int>(100 * std::clamp(part, 0.0, 1.0))));
}
