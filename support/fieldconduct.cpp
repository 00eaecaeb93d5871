#include "fieldconduct.h"

#include "settingsfile.h"

#include <QCoreApplication>
#include <QLatin1StringView>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

struct Name {
    QLatin1StringView text;
    quint32 remedies;
};

constexpr quint32 EachRemedy = 2 * FieldConduct::Checksums - 1;

constexpr std::array<Name, 18> AllNames{{
    {QLatin1StringView("all"), EachRemedy & ~FieldConduct::Checksums},
    {QLatin1StringView("reports"), FieldConduct::Reports},
    {QLatin1StringView("ntp"), FieldConduct::Ntp},
    {QLatin1StringView("ce102"), FieldConduct::Ce102},
    {QLatin1StringView("order"), FieldConduct::Order},
    {QLatin1StringView("schedule"), FieldConduct::Schedule},
    {QLatin1StringView("stamps"), FieldConduct::Stamps},
    {QLatin1StringView("fragments"), FieldConduct::Fragments},
    {QLatin1StringView("digits"), FieldConduct::Digits},
    {QLatin1StringView("substation"), FieldConduct::Substation},
    {QLatin1StringView("clocks"), FieldConduct::Clocks},
    {QLatin1StringView("numbers"), FieldConduct::Numbers},
    {QLatin1StringView("alarms"), FieldConduct::Alarms},
    {QLatin1StringView("texts"), FieldConduct::Texts},
    {QLatin1StringView("bus"), FieldConduct::Bus},
    {QLatin1StringView("memory"), FieldConduct::Memory},
    {QLatin1StringView("modem"), FieldConduct::Modem},
    {QLatin1StringView("checksums"), FieldConduct::Checksums},
}};

} // namespace

FieldConduct FieldConduct::Of(const QString& names, QStringList& unknown)
{
    FieldConduct conduct;
    for (const QString& word : names.split(u' ', Qt::SkipEmptyParts)) {
        const auto* const name =
            std::find_if(AllNames.begin(), AllNames.end(), [&](const Name& known) { return known.text == word; });
        if (name == AllNames.end())
            unknown.append(word);
        else
            conduct.remedies |= name->remedies;
    }
    return conduct;
}

FieldConduct FieldConduct::Read(SettingsFile& settings)
{
    QStringList unknown;
    const FieldConduct conduct = Of(settings.Text(u"Field/Remedies"_s, {}), unknown);
    for (const QString& name : unknown)
        settings.AddProblem(
            QCoreApplication::translate("FieldConduct", "Field/Remedies has no remedy \"%1\". There are: %2")
                .arg(name, Names().join(u' ')));
    return conduct;
}

QStringList FieldConduct::Names()
{
    QStringList names;
    for (const Name& name : AllNames)
        names.append(name.text);
    return names;
}
