#include "formatcheck.h"

#include "initext.h"
#include "texts.h"

#include <QHash>

using namespace Qt::StringLiterals;

namespace {

const auto AboutTheFile = u"settings"_s;

/// The first escape that is not what a person writes on purpose: "\d" of "\d+". Empty when there is none.
QString LostEscape(const QString& value)
{
    for (qsizetype i = value.indexOf(u'\\'); i >= 0 && i + 1 < value.size(); i = value.indexOf(u'\\', i + 2))
        if (!QStringView(u"\"\\x\n").contains(value[i + 1]))
            return value.mid(i, 2);
    return {};
}

class Reader final {
public:
    explicit Reader(const QString& fileName_) : fileName(fileName_) { }

    void ReadStray(const IniLine& line);
    void ReadValue(const IniLine& line);

    Findings findings;

private:
    [[nodiscard]] QString Place(const IniLine& line) const
    {
        return Texts::tr("%1, line %2").arg(fileName, QString::number(line.number));
    }
    void Add(const QString& about, const QString& text, Finding::Weight weight = Finding::Weight::Problem)
    {
        findings.append({about, text, weight});
    }
    void ReadHash(const IniLine& line);

    const QString fileName;
    QHash<QString, int> seen; ///< a key's last line
};

void Reader::ReadHash(const IniLine& line)
{
    Add(AboutTheFile,
        Texts::tr("%1: \"#\" begins no comment in this format; begin the line with \";\"").arg(Place(line)));
}

void Reader::ReadStray(const IniLine& line)
{
    if (line.key.startsWith(u'#'))
        ReadHash(line);
    else
        Add(AboutTheFile, Texts::tr("%1: this is neither [group] nor key=value").arg(Place(line)));
}

void Reader::ReadValue(const IniLine& line)
{
    if (line.key.startsWith(u'#')) {
        ReadHash(line);
        return;
    }
    const QString key = line.group + u'/' + line.key;
    if (line.isCut)
        Add(key,
            Texts::tr("%1: the value of %2 ends at the semicolon; write the whole value in double quotes")
                .arg(Place(line), key));
    if (line.value.contains(u'\n'))
        Add(key,
            Texts::tr("%1: the value of %2 goes on in the next line: a quote is not closed, or a backslash stands at "
                      "the end")
                .arg(Place(line), key));
    if (const QString lost = LostEscape(line.value); !lost.isEmpty())
        Add(key,
            Texts::tr("%1: in %2, %3 is an escape of the file's format and does not stay; write two backslashes")
                .arg(Place(line), line.key, lost));
    if (const int earlier = seen.value(key); earlier > 0)
        Add(key,
            Texts::tr("%1: %2 is set in line %3 already; only the last one counts").arg(Place(line), key).arg(earlier),
            Finding::Weight::Hint);
    seen.insert(key, line.number);
}

} // namespace

Findings FormatFindings(const QString& fileName, const QString& text, const QStringList& groups)
{
    Reader reader(fileName);
    for (const IniLine& line : IniLines(text)) {
        if (line.kind == IniLine::Kind::Stray)
            reader.ReadStray(line);
        else if (line.kind == IniLine::Kind::Value && groups.contains(line.group))
            reader.ReadValue(line);
    }
    return reader.findings;
}
