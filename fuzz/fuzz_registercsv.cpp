#include "fuzztarget.h"
#include "registercsv.h"

using namespace Qt::StringLiterals;

namespace {

QByteArray AsCsv(const QList<RegisterRow>& rows)
{
    QString text = u"KI_Number;Type;Model;Number;UIN;global_id\r\n"_s;
    for (const RegisterRow& row : rows)
        for (auto column = RegisterColumns.rbegin(); column != RegisterColumns.rend(); ++column)
            text += u'"' + QString(row.*column->field).replace(u"\""_s, u"\"\""_s)
                + (column + 1 == RegisterColumns.rend() ? u"\"\r\n"_s : u"\";"_s);
    return text.toUtf8();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const RegisterText text = ParseRegisterCsv(u"in"_s, InPlace(bytes, size));
    Require(text.problems.isEmpty() || text.problems.first().startsWith(u"in"_s));
    if (!text.problems.isEmpty() || !RegisterProblems(text.rows).isEmpty())
        return 0;
    // A register without problems is the same after it was written down otherwise, and nothing is left to import.
    const RegisterText again = ParseRegisterCsv(u"in"_s, AsCsv(text.rows));
    Require(again.problems.isEmpty());
    const RegisterChange change = PlannedChange(text.rows, again.rows);
    Require(change.unchanged.size() == text.rows.size());
    Require(change.added.isEmpty() && change.changed.isEmpty() && change.kept.isEmpty());
    return 0;
}
