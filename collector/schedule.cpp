#include "schedule.h"

using namespace Qt::StringLiterals;

QString Schedule::Stamp(const QDateTime& time)
{
    return time.toString(u"dd hh:mm"_s);
}

bool Schedule::Matches(const QString& pattern, const QString& stamp)
{
    return Matches(QRegularExpression(pattern), stamp);
}

bool Schedule::Matches(const QRegularExpression& pattern, const QString& stamp)
{
    return pattern.isValid() && pattern.match(stamp).hasMatch();
}

QString Schedule::ErrorIn(const QString& pattern)
{
    const QRegularExpression expression(pattern);
    return expression.isValid() ? QString() : expression.errorString();
}
