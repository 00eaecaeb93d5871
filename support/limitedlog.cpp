#include "limitedlog.h"

#include "log.h"

#include <QLocale>

void LimitedLog::Line(const QString& text)
{
    if (written == most) {
        ++keptBack;
        return;
    }
    ++written;
    Log(text);
}

void LimitedLog::PeriodEnds(const QString& summary)
{
    if (keptBack > 0)
        Log(summary.arg(QLocale(QLocale::English).toString(keptBack)));
    written = 0;
    keptBack = 0;
}
