#include "registercsv.h"

#include <QFile>
#include <QFileInfo>

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
        || std::all_of(text.begin(), text.end(), [](QChar c) { return c == u',' || c == u';'; });
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
    QList<const RegisterColumn*> columns; // as the header has them; empty when it is wrong
    RegisterText result;
};

void Reader::Read(QByteArrayView line)
{
    place = u"%1, line %2"_s.arg(fileName, QString::number(++lineNumber));
    if (!QUtf8StringView(line).isValidUtf8() || line.contains('\0')) {
        Report(u"this is not UTF-8 text"_s);
        return;
    }
    const QString text = QString::fromUtf8(line);
    if (SaysNothing(text))
        return;
    if (!headerSeen)
        separator = text.contains(u';') ? u';' : u',';
    const std::optional<QStringList> fields = Fields(text, separator);
    if (!fields)
        Report(u"a quote is not closed"_s);
    else if (!headerSeen)
        ReadHeader(*fields);
    else if (!columns.isEmpty())
        ReadRow(*fields);
    headerSeen = true;
}

void Reader::ReadHeader(const QStringList& names)
{
    const qsizetype problemsBefore = result.problems.size();
    for (const QString& name : names) {
        const auto* const column = std::find_if(RegisterColumns.begin(), RegisterColumns.end(),
            [&](const RegisterColumn& known) { return known.name == name; });
        if (column == RegisterColumns.end())
            Report(u"there is no column \"%1\" in a register"_s.arg(name));
        else if (columns.contains(column))
            Report(u"the column \"%1\" is there twice"_s.arg(name));
        else
            columns.append(column);
    }
    for (const RegisterColumn& column : RegisterColumns)
        if (!columns.contains(&column))
            Report(u"the column \"%1\" is missing"_s.arg(column.name));
    if (result.problems.size() != problemsBefore)
        columns.clear();
}

void Reader::ReadRow(const QStringList& values)
{
    if (values.size() != columns.size()) {
        Report(u"there are %1 values under %2 columns"_s.arg(values.size()).arg(columns.size()));
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
    if (!headerSeen)
        result.problems.append(fileName + ": there is no header with the names of the columns"_L1);
    return result;
}

} // namespace

RegisterText ParseRegisterCsv(const QString& fileName, QByteArrayView bytes)
{
    constexpr QByteArrayView ByteOrderMark("\xEF\xBB\xBF");
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
        return refuse(u"this is not a regular file"_s);
    if (info.size() > LargestFile)
        return refuse(u"this is larger than a register can be"_s);
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return refuse(file.errorString());
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError || bytes.size() < file.size()) // a failure half-way leaves no error
        return refuse(u"this cannot be read to its end"_s);
    return ParseRegisterCsv(fileName, bytes);
}
