#include "statusreport.h"

#include "forwardtexts.h"

using namespace Qt::StringLiterals;

StatusReport::StatusReport(const ForwardSettings& settings_)
    : settings(settings_),
      progress(ReadDeliveryProgress(settings.database))
{
}

QStringList StatusReport::Lines() const
{
    QStringList lines{ForwardTexts::tr("Controller: %1").arg(settings.controller),
        ForwardTexts::tr("Source: %1").arg(settings.database),
        progress.isRunning ? ForwardTexts::tr("The forwarder runs.") : ForwardTexts::tr("The forwarder does not run.")};
    for (std::size_t i = 0; i < progress.tables.size(); ++i) {
        const DeliveryProgress::Table& table = progress.tables[i];
        const QString waiting = table.waiting < 0 ? ForwardTexts::tr("unknown") : QString::number(table.waiting);
        lines.append(ForwardTexts::tr("Rows that wait, of the %1: %2, for %3 s; delivered up to row %4")
                         .arg(SourceTables[i].shown, waiting)
                         .arg(table.lagSeconds)
                         .arg(table.delivered));
    }
    lines.append(ForwardTexts::tr("Dead letters: %1").arg(progress.deadLetters));
    for (const QString& remark : {progress.registerRemark, progress.problem})
        if (!remark.isEmpty())
            lines.append(remark);
    return lines;
}

QJsonObject StatusReport::Json() const
{
    QJsonObject json{{u"controller"_s, settings.controller}, {u"source"_s, settings.database},
        {u"running"_s, progress.isRunning}, {u"problem"_s, progress.problem}, {u"register"_s, progress.registerRemark},
        {u"deadLetters"_s, progress.deadLetters}};
    for (std::size_t i = 0; i < progress.tables.size(); ++i)
        json[SourceTables[i].kind] = QJsonObject{{u"delivered"_s, progress.tables[i].delivered},
            {u"waiting"_s, progress.tables[i].waiting}, {u"lagSeconds"_s, progress.tables[i].lagSeconds}};
    return json;
}
