#include "sourcechoice.h"

#include <algorithm>
#include <optional>

namespace {

using namespace SourceChoice;

bool Continues(const Evidence& file, const Marks& marks)
{
    for (std::size_t table = 0; table < marks.size(); ++table)
        if (!SourceChoice::Continues(file, table, marks[table]))
            return false;
    return true;
}

qint64 Delivered(const Known& known)
{
    qint64 rows = 0;
    for (const Mark& mark : known.marks)
        rows += mark.number;
    return rows;
}

/// Of the sources that fit the file the one of which most was delivered.
std::optional<Known> BestFit(const Evidence& file, const QList<Known>& known)
{
    std::optional<Known> best;
    for (const Known& candidate : known)
        if (Delivered(candidate) > (best ? Delivered(*best) : 0) && ::Continues(file, candidate.marks))
            best = candidate;
    return best;
}

Choice Replaced(const Evidence& file, const Known& before, const QUuid& fresh)
{
    Choice choice{.source = fresh, .marks = {}, .isNew = true, .isReplaced = true};
    for (std::size_t table = 0; table < before.marks.size(); ++table) {
        const Mark& mark = before.marks[table];
        choice.marks[table] = SourceChoice::Continues(file, table, mark) ? mark : file.lastCommon(table, mark.number);
    }
    return choice;
}

} // namespace

bool SourceChoice::Continues(const Evidence& file, std::size_t table, const Mark& mark)
{
    if (mark.number == 0)
        return true;
    const qint64 digest = file.digestOf(table, mark.number);
    return digest == 0 ? file.oldestRow(table) > mark.number : digest == mark.digest;
}

Choice SourceChoice::Choose(const Evidence& file, const QUuid& noted, const QList<Known>& known, const QUuid& fresh)
{
    const auto same = std::find_if(known.begin(), known.end(), [&](const Known& one) { return one.source == noted; });
    const bool isKnown = !noted.isNull() && same != known.end();
    if (isKnown && ::Continues(file, same->marks))
        return {.source = noted, .marks = same->marks};
    // Also a source that began when the notes could not be written.
    if (const auto best = BestFit(file, known))
        return {.source = best->source, .marks = best->marks};
    if (isKnown)
        return Replaced(file, *same, fresh);
    return {.source = noted.isNull() ? fresh : noted, .marks = {}, .isNew = true, .isReplaced = !known.isEmpty()};
}
