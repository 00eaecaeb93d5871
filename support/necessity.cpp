#include "necessity.h"

#include <cstdio>

namespace {

void Tell(const QString& text)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(text));
}

} // namespace

void Necessity::Fails(const QString& text)
{
    if (told.contains(text))
        return;
    told.insert(text);
    Tell(text);
}

void Necessity::Works(const QString& text)
{
    if (told.isEmpty())
        return;
    told.clear();
    Tell(text);
}
