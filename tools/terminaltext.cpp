#include "terminaltext.h"

#include "shown.h"

#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype PieceSize = 200; // what Shown() takes without a cut

bool IsPlain(char32_t character)
{
    const QChar::Category category = QChar::category(character);
    return category != QChar::Other_Control && category != QChar::Other_Format && category != QChar::Separator_Line
        && category != QChar::Separator_Paragraph;
}

QString EscapedForJson(char32_t character)
{
    QString escaped;
    for (const QChar unit : QString::fromUcs4(&character, 1))
        escaped += u"\\u%1"_s.arg(static_cast<int>(unit.unicode()), 4, 16, QLatin1Char('0'));
    return escaped;
}

} // namespace

QString TerminalText::OfLine(const QString& text)
{
    QString line;
    const QList<uint> characters = text.toUcs4();
    for (qsizetype at = 0; at < characters.size(); at += PieceSize) {
        const QList<uint> piece = characters.mid(at, PieceSize);
        line += Shown(QString::fromUcs4(reinterpret_cast<const char32_t*>(piece.constData()), piece.size()).toUtf8());
    }
    return line;
}

QString TerminalText::OfLines(const QString& text)
{
    QStringList lines;
    for (const QString& line : text.split(u'\n'))
        lines.append(OfLine(line));
    return lines.join(u'\n');
}

QString TerminalText::OfJson(const QJsonObject& object, Json form)
{
    const bool isIndented = form == Json::Indented;
    const QByteArray json = QJsonDocument(object).toJson(isIndented ? QJsonDocument::Indented : QJsonDocument::Compact);
    QString text;
    for (const char32_t character : QString::fromUtf8(json.trimmed()).toUcs4())
        text += IsPlain(character) || character == U'\n' ? QString::fromUcs4(&character, 1) : EscapedForJson(character);
    return text;
}
