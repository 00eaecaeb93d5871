#include "lookalikes.h"

#include "registertexts.h"

#include <QStringList>

#include <array>

using namespace Qt::StringLiterals;

namespace {

// As many as a node's address has characters.
constexpr std::array<const char*, 16> Ordinals{
    QT_TRANSLATE_NOOP("register", "first"),
    QT_TRANSLATE_NOOP("register", "second"),
    QT_TRANSLATE_NOOP("register", "third"),
    QT_TRANSLATE_NOOP("register", "fourth"),
    QT_TRANSLATE_NOOP("register", "fifth"),
    QT_TRANSLATE_NOOP("register", "sixth"),
    QT_TRANSLATE_NOOP("register", "seventh"),
    QT_TRANSLATE_NOOP("register", "eighth"),
    QT_TRANSLATE_NOOP("register", "ninth"),
    QT_TRANSLATE_NOOP("register", "tenth"),
    QT_TRANSLATE_NOOP("register", "eleventh"),
    QT_TRANSLATE_NOOP("register", "twelfth"),
    QT_TRANSLATE_NOOP("register", "thirteenth"),
    QT_TRANSLATE_NOOP("register", "fourteenth"),
    QT_TRANSLATE_NOOP("register", "fifteenth"),
    QT_TRANSLATE_NOOP("register", "sixteenth"),
};

} // namespace

QString CyrillicRemark(const QString& value)
{
    QStringList places;
    for (qsizetype i = 0; i < value.size(); ++i)
        if (value[i].script() == QChar::Script_Cyrillic)
            places.append(QString::number(i + 1));
    if (places.isEmpty())
        return {};
    const auto place = static_cast<size_t>(places.first().toInt());
    if (places.size() == 1 && place <= Ordinals.size())
        return RegisterTexts::tr("; the %1 letter is Cyrillic").arg(RegisterTexts::tr(Ordinals[place - 1]));
    return RegisterTexts::tr("; Cyrillic letters: %1").arg(places.join(", "_L1));
}
