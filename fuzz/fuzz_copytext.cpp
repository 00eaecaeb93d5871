// A text of the daemon's database on its way to the centre: whatever it is, it stays one field of one row, and reads
// back as it was.

#include "copytext.h"
#include "fuzztarget.h"

namespace {

// As PostgreSQL reads a field.
QByteArray ReadBack(const QByteArray& field)
{
    QByteArray text;
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] != '\\') {
            text += field[i];
            continue;
        }
        Require(++i < field.size());
        const auto place = QByteArrayView("nrt\\").indexOf(field[i]);
        Require(place >= 0);
        text += "\n\r\t\\"[place];
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* data, size_t size)
{
    const QByteArray input = InPlace(data, size);
    const QString text = QString::fromUtf8(input);
    const QByteArray line = CopyText::Line({text, input, 5, QVariant()});
    Require(line.endsWith('\n') && line.count('\n') == 1 && !line.contains('\r'));
    const QList<QByteArray> fields = line.chopped(1).split('\t');
    Require(fields.size() == 4 && fields[2] == "5" && fields[3] == "\\N");
    Require(ReadBack(fields[0]) == text.toUtf8() && ReadBack(fields[1]) == QByteArray(input.constData(), input.size()));
    Require(CopyText::Digest(line) != 0);
    static_cast<void>(CopyText::Json(SourceTables[1], {text, input, 5, 1.5, QVariant()}));
    return 0;
}
