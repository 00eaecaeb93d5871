#include "csvtext.h"

#include "shown.h"

using namespace Qt::StringLiterals;

QString CsvText(const QString& text)
{
    QString shown = Shown(text.toUtf8());
    if (!shown.isEmpty() && u"=+-@"_s.contains(shown[0])) // a spreadsheet would take it for a formula
        shown.prepend(u'\'');
    return u'"' + shown.replace(u'"', u"\"\""_s) + u'"';
}
