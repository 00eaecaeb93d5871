#pragma once

#include "sourcetable.h"

#include <QList>
#include <QUuid>

#include <functional>

/// Which source a file is: the one that was delivered before, or another. A file that was emptied, replaced, or put
/// back from a copy numbers its rows anew, and its rows must not be taken for those that were delivered under the same
/// numbers.
namespace SourceChoice {

/// A source that the centre knows.
struct Known {
    QUuid source;
    Marks marks;
};

/// What is asked of the file and of the notes, each for a table of SourceTables.
struct Evidence {
    /// Of the row of that number; 0 when there is none.
    std::function<qint64(std::size_t table, qint64 number)> digestOf;
    std::function<qint64(std::size_t table)> oldestRow;
    /// The last row at or below that number that was delivered and is in the file, unchanged.
    std::function<Mark(std::size_t table, qint64 number)> lastCommon;
};

struct Choice {
    QUuid source;
    Marks marks;
    bool isNew = false; ///< the centre does not know it yet
    bool isReplaced = false; ///< another was delivered before
};

/// Whether the file goes on where `mark` stands. A row that is gone was deleted for its age when all rows that are left
/// came later.
[[nodiscard]] bool Continues(const Evidence& file, std::size_t table, const Mark& mark);

/// `noted` is null when it is not known which source this was; `fresh` is the name of a new one. A source that the
/// centre does not know, although it is noted, begins at the first row: the centre has been put back, or is another.
[[nodiscard]] Choice Choose(const Evidence& file, const QUuid& noted, const QList<Known>& known, const QUuid& fresh);

} // namespace SourceChoice
