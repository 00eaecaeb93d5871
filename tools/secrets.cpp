#include "secrets.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// A short one is found by its ends, or half of all words would go.
QRegularExpression Finding(const QString& secret)
{
    constexpr qsizetype Short = 4;
    const QString exact = QRegularExpression::escape(secret);
    return QRegularExpression(secret.size() < Short ? u"(?<!\\w)%1(?!\\w)"_s.arg(exact) : exact);
}

} // namespace

QString WithoutSecrets(QString text, const QStringList& secrets)
{
    const auto stars = u"***"_s;
    QStringList longestFirst = secrets;
    longestFirst.removeAll(QString());
    std::sort(longestFirst.begin(), longestFirst.end(),
        [](const QString& a, const QString& b) { return a.size() > b.size(); });
    for (const QString& secret : std::as_const(longestFirst))
        text.replace(Finding(secret), stars);
    static const QRegularExpression named(
        uR"re((pass(?:word|wd|wort)?|pwd|пароль)(\s*[=:]\s*|(?<=SqlPassword)\s+)(?:"[^"\n]*"?|'[^'\n]*'?|[^\s;&"']+))re"_s,
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
    static const QRegularExpression inAddress(u"(://[^\\s:/@]*):[^\\s/]*@"_s);
    return text.replace(named, u"\\1\\2***"_s).replace(inAddress, u"\\1:***@"_s);
}
