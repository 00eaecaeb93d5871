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

/// 0 with fixed pauses.
int ReadWindow(SettingsFile& settings)
{
    const QString pacing = settings.Text(u"Field/Pacing"_s, u"fixed"_s);
    const bool byAnswers = pacing == "answers"_L1;
    if (!byAnswers && pacing != "fixed"_L1)
        settings.AddProblem(QCoreApplication::translate(
            "FieldConduct", "Field/Pacing is neither \"fixed\" nor \"answers\": \"%1\". The default \"fixed\" applies")
                                .arg(pacing));
    const int window = settings.Integer(u"Field/Window"_s, FieldConduct::DefaultWindow);
    const bool fits = window >= 1 && window <= FieldConduct::MostInWindow;
    if (!fits)
        settings.AddProblem(
            QCoreApplication::translate("FieldConduct", "Field/Window is not from 1 to %1: %2. The default %3 applies")
                .arg(FieldConduct::MostInWindow)
                .arg(window)
                .arg(FieldConduct::DefaultWindow));
    if (!byAnswers)
        return 0;
    return fits ? window : FieldConduct::DefaultWindow;
}

} // namespace

FieldConduct FieldConduct::Of(const QString& names, QStringList& unknown, int window)
{
    FieldConduct conduct;
    conduct.window = window;
    if (conduct.PacedByAnswers())
        conduct.remedies = Reports;
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
    const FieldConduct conduct = Of(settings.Text(u"Field/Remedies"_s, {}), unknown, ReadWindow(settings));
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
