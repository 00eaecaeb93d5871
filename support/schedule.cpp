#include "schedule.h"

using namespace Qt::StringLiterals;

// The engine takes "{,n}" for those characters themselves. An escaped brace, and one inside a bracketed set of
// characters, means just that.
QRegularExpression Schedule::Expression(const QString& pattern)
{
    static const QRegularExpression part(u"\\\\.|\\[\\^?\\]?(?:\\\\.|[^\\]\\\\])*\\]|\\{(?=,\\d+\\})"_s);
    QString written;
    qsizetype taken = 0;
    for (const QRegularExpressionMatch& match : part.globalMatch(pattern)) {
        written += QStringView(pattern).sliced(taken, match.capturedEnd() - taken);
        taken = match.capturedEnd();
        if (match.capturedView() == u"{")
            written += u'0';
    }
    written += QStringView(pattern).sliced(taken);
    return QRegularExpression(written);
}

QString Schedule::Stamp(const QDateTime& time)
{
    return time.toString(u"dd hh:mm"_s);
}

bool Schedule::IsDueIn(const QString& pattern, const QDateTime& time)
{
    return Matches(pattern, Stamp(time));
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
