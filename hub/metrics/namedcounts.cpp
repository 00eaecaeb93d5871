#include "namedcounts.h"

using namespace Qt::StringLiterals;

void NamedCounts::Count(const QString& name)
{
    const bool isKnown = counts.contains(name);
    ++counts[isKnown || counts.size() < MostNames ? name : u"other"_s];
}
