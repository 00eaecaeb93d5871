#include "necessity.h"

#include <cstdio>

namespace {

void Tell(const QString& text)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(text));
}

} // namespace

bool Necessity::Fails(const QString& text)
{
    if (told.contains(text))
        return false;
    told.insert(text);
    Tell(text);
    return true;
}

bool Necessity::Works(const QString& text)
{
    if (told.isEmpty())
        return false;
    told.clear();
    Tell(text);
    return true;
}
