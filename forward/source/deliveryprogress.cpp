#include "deliveryprogress.h"

#include "clock.h"
#include "deliverednotes.h"
#include "sourcefile.h"
#include "sourcelock.h"

#include <QDateTime>
#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

qint64 SecondsSince(const SourceTable& table, const SourceRow& row)
{
    const QDateTime stamp(row.values[table.date].toDate(), row.values[table.time].toTime());
    return stamp.isValid() ? std::max<qint64>(0, stamp.secsTo(CurrentDateTime())) : 0;
}

} // namespace

DeliveryProgress ReadDeliveryProgress(const QString& source)
{
    DeliveryProgress progress;
    progress.isRunning = SourceLock::IsHeld(LockPathOf(source));
    SourceFile file(source);
    const bool isReadable = file.EnsureOpen();
    if (QFileInfo::exists(NotesPathOf(source))) {
        DeliveredNotes notes(NotesPathOf(source), DeliveredNotes::Access::Read);
        progress.problem = notes.Noted(u"problem"_s);
        progress.registerRemark = notes.Noted(u"register"_s);
        progress.deadLetters = notes.Noted(u"dead"_s).toLongLong();
        for (std::size_t i = 0; i < progress.tables.size(); ++i)
            progress.tables[i].delivered = notes.Noted("mark "_L1 + SourceTables[i].kind).toLongLong();
    }
    for (std::size_t i = 0; isReadable && i < progress.tables.size(); ++i) {
        DeliveryProgress::Table& table = progress.tables[i];
        table.waiting = file.RowsBehind(SourceTables[i], table.delivered).value_or(-1);
        const auto next = file.Rows(SourceTables[i], table.delivered + 1, 1);
        if (next && !next->isEmpty())
            table.lagSeconds = SecondsSince(SourceTables[i], next->first());
    }
    if (progress.problem.isEmpty() && !isReadable)
        progress.problem = file.Error();
    return progress;
}

bool HasForwarder(const QString& source)
{
    return QFileInfo::exists(NotesPathOf(source)) || SourceLock::IsHeld(LockPathOf(source));
}
