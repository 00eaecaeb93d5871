#include "statusreport.h"

#include "clock.h"
#include "deliverednotes.h"
#include "forwardtexts.h"
#include "sourcefile.h"
#include "sourcelock.h"

#include <QFileInfo>
#include <QJsonArray>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

qint64 SecondsSince(const SourceTable& table, const SourceRow& row)
{
    const QDateTime stamp(row.values[table.date].toDate(), row.values[table.time].toTime());
    return stamp.isValid() ? std::max<qint64>(0, stamp.secsTo(CurrentDateTime())) : 0;
}

} // namespace

StatusReport::StatusReport(const ForwardSettings& settings_)
    : settings(settings_),
      isRunning(SourceLock::IsHeld(LockPathOf(settings.database)))
{
    SourceFile file(settings.database);
    const bool isReadable = file.EnsureOpen();
    if (QFileInfo::exists(NotesPathOf(settings.database))) {
        DeliveredNotes notes(NotesPathOf(settings.database), DeliveredNotes::Access::Read);
        problem = notes.Noted(u"problem"_s);
        registerRemark = notes.Noted(u"register"_s);
        dead = notes.Noted(u"dead"_s).toLongLong();
        for (std::size_t i = 0; i < tables.size(); ++i)
            tables[i].delivered = notes.Noted("mark "_L1 + SourceTables[i].kind).toLongLong();
    }
    for (std::size_t i = 0; isReadable && i < tables.size(); ++i) {
        tables[i].waiting = file.RowsBehind(SourceTables[i], tables[i].delivered).value_or(-1);
        const auto next = file.Rows(SourceTables[i], tables[i].delivered + 1, 1);
        if (next && !next->isEmpty())
            tables[i].lagSeconds = SecondsSince(SourceTables[i], next->first());
    }
    if (problem.isEmpty() && !isReadable)
        problem = file.Error();
}

QStringList StatusReport::Lines() const
{
    QStringList lines{ForwardTexts::tr("Controller: %1").arg(settings.controller),
        ForwardTexts::tr("Source: %1").arg(settings.database),
        isRunning ? ForwardTexts::tr("The forwarder runs.") : ForwardTexts::tr("The forwarder does not run.")};
    for (std::size_t i = 0; i < tables.size(); ++i) {
        const Table& table = tables[i];
        const QString waiting = table.waiting < 0 ? ForwardTexts::tr("unknown") : QString::number(table.waiting);
        lines.append(ForwardTexts::tr("Rows that wait, of the %1: %2, for %3 s; delivered up to row %4")
                         .arg(SourceTables[i].shown, waiting)
                         .arg(table.lagSeconds)
                         .arg(table.delivered));
    }
    lines.append(ForwardTexts::tr("Dead letters: %1").arg(dead));
    for (const QString& remark : {registerRemark, problem})
        if (!remark.isEmpty())
            lines.append(remark);
    return lines;
}

QJsonObject StatusReport::Json() const
{
    QJsonObject json{{u"controller"_s, settings.controller}, {u"source"_s, settings.database},
        {u"running"_s, isRunning}, {u"problem"_s, problem}, {u"register"_s, registerRemark}, {u"deadLetters"_s, dead}};
    for (std::size_t i = 0; i < tables.size(); ++i)
        json[SourceTables[i].kind] = QJsonObject{{u"delivered"_s, tables[i].delivered},
            {u"waiting"_s, tables[i].waiting}, {u"lagSeconds"_s, tables[i].lagSeconds}};
    return json;
}
