#include "fuzztarget.h"
#include "registercsv.h"

#include <QStringEncoder>

using namespace Qt::StringLiterals;

namespace {

/// In another order of columns, with an empty one behind them.
QString AsText(const QList<RegisterRow>& rows, QChar separator)
{
    QString text = u"Type;KI_Number;Model;Number;UIN;global_id;\r\n"_s.replace(u';', separator);
    for (const RegisterRow& row : rows) {
        for (QString value : {row.type, row.kiNumber, row.model, row.number, row.uin, row.globalId})
            text += u'"' + value.replace(u"\""_s, u"\"\""_s) + u'"' + separator;
        text += u'\n';
    }
    return text;
}

QByteArray AsUtf16(const QString& text)
{
    QStringEncoder encoder(QStringEncoder::Utf16LE, QStringEncoder::Flag::WriteBom);
    return encoder(text);
}

/// Nothing of `rows` is left to import from `bytes`.
void RequireSame(const QList<RegisterRow>& rows, const QByteArray& bytes)
{
    const RegisterText again = ParseRegisterCsv(u"in"_s, bytes);
    Require(again.problems.isEmpty());
    const RegisterChange change = PlannedChange(rows, again.rows);
    Require(change.unchanged.size() == rows.size());
    Require(change.added.isEmpty() && change.changed.isEmpty() && change.kept.isEmpty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const RegisterText text = ParseRegisterCsv(u"in"_s, InPlace(bytes, size));
    Require(text.problems.isEmpty() || text.problems.first().startsWith(u"in"_s));
    if (!text.problems.isEmpty() || !RegisterProblems(text.rows).isEmpty())
        return 0;
    for (const RegisterRow& row : text.rows) // what the daemon sends as Latin-1 goes out as it was written
        Require(QString::fromLatin1(row.kiNumber.toLatin1()) == row.kiNumber);
    // A register without problems is the same after it was written down otherwise.
    RequireSame(text.rows, AsText(text.rows, u';').toUtf8());
    RequireSame(text.rows, AsUtf16(AsText(text.rows, u'\t')));
    return 0;
}
