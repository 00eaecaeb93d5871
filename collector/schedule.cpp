#include "schedule.h"

using namespace Qt::StringLiterals;

namespace {

/// Where "{" of each "{,n}" stands that is neither escaped nor inside a bracketed set of characters.
QList<qsizetype> OpenQuantifiers(const QString& pattern)
{
    static const QRegularExpression part(u"\\\\.|\\[\\^?\\]?(?:\\\\.|[^\\]\\\\])*\\]|\\{(?=,\\d+\\})"_s);
    QList<qsizetype> found;
    for (const QRegularExpressionMatch& match : part.globalMatch(pattern))
        if (match.capturedView() == u"{")
            found.append(match.capturedStart());
    return found;
}

} // namespace

QRegularExpression Schedule::Expression(const QString& pattern)
{
    // The engine takes "{,n}" as plain text, and "{0,n}" as meant.
    QString written = pattern;
    const QList<qsizetype> quantifiers = OpenQuantifiers(pattern);
    for (auto at = quantifiers.crbegin(); at != quantifiers.crend(); ++at)
        written.insert(*at + 1, u'0');
    return QRegularExpression(written);
}

QString Schedule::Stamp(const QDateTime& time)
{
    return time.toString(u"dd hh:mm"_s);
}

bool Schedule::Matches(const QString& pattern, const QString& stamp)
{
    return Matches(Expression(pattern), stamp);
}

bool Schedule::Matches(const QRegularExpression& pattern, const QString& stamp)
{
    return pattern.isValid() && pattern.match(stamp).hasMatch();
}

QString Schedule::ErrorIn(const QString& pattern)
{
    const QRegularExpression expression = Expression(pattern);
    return expression.isValid() ? QString() : expression.errorString();
}
