#include "shown.h"

#include <QChar>
#include <QList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype MostCharacters = 200;
constexpr qsizetype LongestCharacter = 4; // bytes

bool Escaped(char32_t character)
{
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

} // namespace

QString Shown(QByteArrayView utf8)
{
    constexpr qsizetype Enough = (MostCharacters + 1) * LongestCharacter; // the name may have 49 MB
    QString shown;
    qsizetype characters = 0;
    for (const char32_t character : QString::fromUtf8(utf8.first(std::min(utf8.size(), Enough))).toUcs4()) {
        if (characters++ == MostCharacters)
            return shown + u"..."_s;
        if (Escaped(character))
            shown += u"\\u{"_s + QString::number(static_cast<uint>(character), 16) + u'}';
        else
            shown += QString::fromUcs4(&character, 1);
    }
    return shown;
}
