#include "necessity.h"

#include "journal.h"

#include <cstdio>

namespace {

void Tell(const QString& text, Severity severity)
{
    if (Journal::IsStderr())
        Journal::Write(severity, text, Journal::Source::Necessity);
    else
        std::fprintf(stderr, "%s\n", qUtf8Printable(text));
}

} // namespace

bool Necessity::Fails(const QString& text)
{
    if (told.contains(text))
        return false;
    told.insert(text);
    Tell(text, Severity::Error);
    return true;
}

bool Necessity::Works(const QString& text)
{
    if (told.isEmpty())
        return false;
    told.clear();
    Tell(text, Severity::Info);
    return true;
}
