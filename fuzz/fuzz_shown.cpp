// A name that a stranger chose, on its way into the log: whatever it is, one line stays one line of bounded length, and
// a decent name stays as it is.

#include "fuzztarget.h"
#include "shown.h"

#include <QList>

#include <algorithm>

namespace {

bool Printable(char32_t character)
{
    const QChar::Category category = QChar::category(character);
    return category != QChar::Other_Control && category != QChar::Other_Format && category != QChar::Separator_Line
        && category != QChar::Separator_Paragraph;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* data, size_t size)
{
    constexpr qsizetype MostCharacters = 200;
    constexpr qsizetype LongestEscape = 10; // \u{10ffff}
    const QByteArray input = InPlace(data, size);
    const QList<uint> shown = Shown(input).toUcs4();
    Require(std::ranges::all_of(shown, Printable));
    Require(shown.size() <= MostCharacters * LongestEscape + 3);

    const QString text = QString::fromUtf8(input);
    const QList<uint> characters = text.toUcs4();
    if (characters.size() <= MostCharacters && std::ranges::all_of(characters, Printable))
        Require(Shown(input) == text);
    return 0;
}
