#include "initext.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

class Scanner final {
public:
    explicit Scanner(QString text_) : text(std::move(text_)) { }

    QList<IniLine> Lines()
    {
        while (SkipBlanks(), at < text.size()) {
            if (text[at] == u';')
                SkipComment();
            else
                ReadLine();
        }
        return lines;
    }

private:
    [[nodiscard]] bool AtLineEnd() const { return text[at] == u'\n' || text[at] == u'\r'; }
    void SkipBlanks();
    void SkipComment();
    void Step();
    qsizetype SkipLine();
    [[nodiscard]] bool IsCutHere(qsizetype valueStart) const;
    void ReadLine();

    const QString text;
    qsizetype at = 0;
    int number = 1;
    QString group;
    QList<IniLine> lines;
};

void Scanner::Step()
{
    number += text[at++] == u'\n' ? 1 : 0;
}

void Scanner::SkipBlanks()
{
    while (at < text.size() && text[at].isSpace())
        Step();
}

void Scanner::SkipComment()
{
    while (at < text.size() && !AtLineEnd())
        Step();
}

// To the end of the line, or to a semicolon. Within quotes, and behind a backslash, neither ends it. Returns where its
// first "=" is, or -1.
qsizetype Scanner::SkipLine()
{
    bool quoted = false;
    qsizetype equals = -1;
    for (; at < text.size(); Step()) {
        if (!quoted && (AtLineEnd() || text[at] == u';'))
            break;
        if (text[at] == u'"')
            quoted = !quoted;
        else if (text[at] == u'=' && !quoted && equals < 0)
            equals = at;
        else if (text[at] == u'\\' && at + 1 < text.size())
            Step();
    }
    return equals;
}

// A semicolon behind a blank begins a comment; one that touches what stands around it was meant to be in the value.
bool Scanner::IsCutHere(qsizetype valueStart) const
{
    if (at >= text.size() || text[at] != u';')
        return false;
    const qsizetype neighbour = at > valueStart ? at - 1 : at + 1;
    return neighbour < text.size() && !text[neighbour].isSpace();
}

void Scanner::ReadLine()
{
    const qsizetype start = at;
    IniLine line{
        .kind = IniLine::Kind::Stray, .number = number, .group = group, .key = {}, .value = {}, .isCut = false};
    const qsizetype equals = SkipLine();
    const QString whole = text.mid(start, at - start);
    if (whole.startsWith(u'[')) { // without a bracket at its end, too, it makes a group
        const qsizetype bracket = whole.indexOf(u']');
        line.kind = bracket < 0 ? IniLine::Kind::Stray : IniLine::Kind::Group;
        group = whole.mid(1, bracket < 0 ? -1 : bracket - 1).trimmed();
        line.group = group;
    } else if (equals > start) {
        line.kind = IniLine::Kind::Value;
        line.key = text.mid(start, equals - start).trimmed();
        line.value = text.mid(equals + 1, at - equals - 1);
        line.isCut = IsCutHere(equals + 1);
    } else {
        line.key = whole;
    }
    lines.append(line);
}

} // namespace

QList<IniLine> IniLines(const QString& text)
{
    return Scanner(QString(text).replace("\r\n"_L1, "\n"_L1)).Lines();
}
