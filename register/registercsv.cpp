#include "registercsv.h"

#include "lookalikes.h"
#include "registertexts.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 LargestFile = 64 * qint64{1024} * 1024; // a million meters

// Nothing when a quote stays open: a value does not go on in the next line here.
std::optional<QStringList> Fields(const QString& line, QChar separator)
{
    QStringList fields{QString()};
    bool quoted = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        if (line[i] == separator && !quoted)
            fields.append(QString());
        else if (line[i] != u'"')
            fields.last() += line[i];
        else if (quoted && i + 1 < line.size() && line[i + 1] == u'"')
            fields.last() += line[i++];
        else
            quoted = !quoted;
    }
    if (quoted)
        return std::nullopt;
    for (QString& field : fields)
        field = field.trimmed();
    return fields;
}

// A spreadsheet writes its empty rows as separators and may put a comment in quotes.
bool SaysNothing(const QString& line)
{
    const QString text = line.trimmed();
    return text.startsWith(u'#') || text.startsWith("\"#"_L1)
        || std::all_of(text.begin(), text.end(), [](QChar c) { return c == u',' || c == u';' || c == u'\t'; });
}

// Of a header, whose names hold none of them.
QChar SeparatorIn(const QString& header)
{
    return header.contains(u';') ? u';' : header.contains(u'\t') ? u'\t' : u',';
}

// A spreadsheet may take columns along in which nothing stands.
QStringList WithoutEmptyEnd(QStringList fields, qsizetype least)
{
    while (fields.size() > least && fields.constLast().isEmpty())
        fields.removeLast();
    return fields;
}

class Reader final {
public:
    explicit Reader(const QString& fileName_) : fileName(fileName_) { }

    void Read(QByteArrayView line);
    [[nodiscard]] RegisterText Result();

private:
    void Report(const QString& what) { result.problems.append(place + ": "_L1 + what); }
    void ReadHeader(const QStringList& names);
    void ReadRow(const QStringList& values);

    QString fileName;
    QString place;
    int lineNumber = 0;
    QChar separator;
    bool headerSeen = false;
    bool isOtherText = false;
    QList<const RegisterColumn*> columns; // as the header has them; empty when it is wrong
    RegisterText result;
};

void Reader::Read(QByteArrayView line)
{
    place = RegisterTexts::tr("%1, line %2").arg(fileName, QString::number(++lineNumber));
    if (!QUtf8StringView(line).isValidUtf8() || line.contains('\0')) {
        if (!isOtherText) // then most lines are
            Report(RegisterTexts::tr("this is not UTF-8 text; have the spreadsheet save it as \"CSV UTF-8\""));
        isOtherText = true;
        return;
    }
    const QString text = QString::fromUtf8(line);
    if (SaysNothing(text))
        return;
    if (!headerSeen)
        separator = SeparatorIn(text);
    const std::optional<QStringList> fields = Fields(text, separator);
    if (!fields)
        Report(RegisterTexts::tr("a quote is not closed"));
    else if (!headerSeen)
        ReadHeader(WithoutEmptyEnd(*fields, 0));
    else if (!columns.isEmpty())
        ReadRow(WithoutEmptyEnd(*fields, columns.size()));
    headerSeen = true;
}

void Reader::ReadHeader(const QStringList& names)
{
    const qsizetype problemsBefore = result.problems.size();
    for (const QString& name : names) {
        const auto* const column = std::find_if(RegisterColumns.begin(), RegisterColumns.end(),
            [&](const RegisterColumn& known) { return known.name == name; });
        if (column == RegisterColumns.end())
            Report(RegisterTexts::tr("there is no column \"%1\" in a register").arg(name) + CyrillicRemark(name));
        else if (columns.contains(column))
            Report(RegisterTexts::tr("the column \"%1\" is there twice").arg(name));
        else
            columns.append(column);
    }
    for (const RegisterColumn& column : RegisterColumns)
        if (!columns.contains(&column))
            Report(RegisterTexts::tr("the column \"%1\" is missing").arg(column.name));
    if (result.problems.size() != problemsBefore)
        columns.clear();
}

void Reader::ReadRow(const QStringList& values)
{
    if (values.size() != columns.size()) {
        Report(RegisterTexts::tr("there are %1 values under %2 columns").arg(values.size()).arg(columns.size()));
        return;
    }
    RegisterRow row;
    row.place = place;
    for (qsizetype i = 0; i < values.size(); ++i)
        row.*columns[i]->field = values[i];
    result.rows.append(row);
}

RegisterText Reader::Result()
{
    if (!headerSeen && !isOtherText)
        result.problems.append(RegisterTexts::tr("%1: there is no header with the names of the columns").arg(fileName));
    return result;
}

// As UTF-8, if its byte-order mark says that it is UTF-16: a spreadsheet's "Unicode text". Null if it is not, or is
// wrong.
QByteArray FromUtf16(QByteArrayView bytes)
{
    const bool isLittleEndian = bytes.startsWith("\xFF\xFE");
    if (!isLittleEndian && !bytes.startsWith("\xFE\xFF"))
        return {};
    QStringDecoder decoder(isLittleEndian ? QStringDecoder::Utf16LE : QStringDecoder::Utf16BE);
    const QString text = decoder(bytes);
    const bool isWhole = bytes.size() % 2 == 0 && !decoder.hasError() && text.isValidUtf16();
    return isWhole ? text.toUtf8() : QByteArray();
}

} // namespace

RegisterText ParseRegisterCsv(const QString& fileName, QByteArrayView bytes)
{
    constexpr QByteArrayView ByteOrderMark("\xEF\xBB\xBF");
    const QByteArray converted = FromUtf16(bytes);
    if (!converted.isNull())
        bytes = converted;
    if (bytes.startsWith(ByteOrderMark))
        bytes = bytes.sliced(ByteOrderMark.size());
    Reader reader(fileName);
    while (!bytes.isEmpty()) {
        const qsizetype found = bytes.indexOf('\n');
        const qsizetype end = found < 0 ? bytes.size() : found;
        reader.Read(bytes.first(end));
        bytes = bytes.sliced(std::min(end + 1, bytes.size()));
    }
    return reader.Result();
}

RegisterText ReadRegisterCsv(const QString& fileName)
{
    const auto refuse = [&](const QString& why) { return RegisterText{{}, {u"%1: %2"_s.arg(fileName, why)}}; };
    const QFileInfo info(fileName);
    if (info.exists() && !info.isFile())
        return refuse(RegisterTexts::tr("this is not a regular file"));
    if (info.size() > LargestFile)
        return refuse(RegisterTexts::tr("this is larger than a register can be"));
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return refuse(file.errorString());
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError || bytes.size() < file.size()) // a failure half-way leaves no error
        return refuse(RegisterTexts::tr("this cannot be read to its end"));
    return ParseRegisterCsv(fileName, bytes);
}
