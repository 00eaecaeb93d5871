#include "copytext.h"

#include "forwardtexts.h"

#include <QCryptographicHash>
#include <QDate>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStringList>
#include <QtEndian>

using namespace Qt::StringLiterals;

namespace {

QByteArray Escaped(const QByteArray& text)
{
    QByteArray escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        switch (c) {
        case '\\':
            escaped += "\\\\";
            break;
        case '\n':
            escaped += "\\n";
            break;
        case '\r':
            escaped += "\\r";
            break;
        case '\t':
            escaped += "\\t";
            break;
        default:
            escaped += c; // a zero byte stays: the centre refuses the row, as no text of its can hold one
        }
    }
    return escaped;
}

// The shortest text that reads back as the same number.
QByteArray Number(double value)
{
    return QByteArray::number(value, 'g', QLocale::FloatingPointShortest);
}

bool IsDate(const QString& text)
{
    static const QRegularExpression form(u"^[0-9]{4}-[0-9]{2}-[0-9]{2}\\z"_s);
    return form.match(text).hasMatch() && QDate::fromString(text, Qt::ISODate).isValid();
}

bool IsTime(const QString& text)
{
    static const QRegularExpression form(u"^([01][0-9]|2[0-3]):[0-5][0-9]:[0-5][0-9]\\z"_s);
    return form.match(text).hasMatch();
}

} // namespace

QByteArray CopyText::Field(const QVariant& value)
{
    if (value.isNull())
        return "\\N"_ba;
    switch (value.typeId()) {
    case QMetaType::LongLong:
    case QMetaType::Int:
        return QByteArray::number(value.toLongLong());
    case QMetaType::Double:
        return Number(value.toDouble());
    case QMetaType::QByteArray:
        return Escaped(value.toByteArray());
    default:
        return Escaped(value.toString().toUtf8());
    }
}

QByteArray CopyText::Line(const QVariantList& values)
{
    QByteArray line;
    for (const QVariant& value : values)
        line += Field(value) + '\t';
    line.back() = '\n';
    return line;
}

qint64 CopyText::Digest(QByteArrayView line)
{
    const QByteArray hash = QCryptographicHash::hash(line.toByteArray(), QCryptographicHash::Sha256);
    const auto digest = qFromBigEndian<qint64>(hash.constData());
    return digest == 0 ? 1 : digest;
}

QString CopyText::Objection(const SourceTable& table, const QVariantList& values)
{
    if (const QString date = values[table.date].toString(); !IsDate(date))
        return ForwardTexts::tr("date_r is no date yyyy-MM-dd");
    if (const QString time = values[table.time].toString(); table.timeIsTyped && !IsTime(time))
        return ForwardTexts::tr("time_r is no time hh:mm:ss");
    return {};
}

QByteArray CopyText::Json(const SourceTable& table, const QVariantList& values)
{
    QJsonObject object;
    for (qsizetype i = 0; const QString& column : QString(table.columns).split(u',')) {
        const QVariant& value = values[i++];
        const bool isBlob = value.typeId() == QMetaType::QByteArray;
        object[column] =
            isBlob ? QString::fromLatin1("\\x" + value.toByteArray().toHex()) : QJsonValue::fromVariant(value);
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}
