#include "meterregister.h"

#include "lookalikes.h"
#include "metermodel.h"
#include "registertexts.h"

#include <QHash>
#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

bool IsNodeAddress(const QString& uin)
{
    return uin.size() == 16 && std::all_of(uin.begin(), uin.end(), [](QChar c) {
        return (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'F');
    });
}

// The key goes into 32 bits signed, and 0 stands for "no such meter". One spelling for one number, so that equal keys
// are equal texts.
bool IsKey(const QString& text)
{
    return text.toInt() > 0 && QString::number(text.toInt()) == text;
}

bool IsMeterNumber(const QString& text)
{
    bool isNumber = false;
    return text.toInt(&isNumber) >= 0 && isNumber;
}

// What a spreadsheet makes of a long number: 9,21703E+12.
bool HasExponent(const QString& text)
{
    static const QRegularExpression form(u"^[+-]?[0-9]+([.,][0-9]*)?[eE][+-]?[0-9]+$"_s);
    return form.match(text).hasMatch();
}

bool IsLatin1(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x100; });
}

bool SameMeter(const RegisterRow& a, const RegisterRow& b)
{
    return std::all_of(RegisterColumns.begin(), RegisterColumns.end(),
        [&](const RegisterColumn& column) { return a.*column.field == b.*column.field; });
}

QStringList NamesOfModels(bool forSubstation)
{
    QStringList names;
    for (const MeterModel& model : MeterModels())
        if (!forSubstation || model.substation)
            names.append(model.name);
    return names;
}

/// "CE301 or SET3".
QString Either(QStringList names)
{
    const QString last = names.takeLast();
    return names.join(", "_L1) + RegisterTexts::tr(" or ") + last;
}

QStringList ProblemsAlone(const RegisterRow& row)
{
    const MeterModel* const model = FindMeterModel(row.model);
    QStringList problems;
    const auto unless = [&](bool right, const QString& what, const QString& value) {
        if (!right)
            problems.append(
                RegisterTexts::tr("%1: %2, not \"%3\"").arg(row.place, what, value) + CyrillicRemark(value));
    };
    const bool isExponent = HasExponent(row.number);
    const bool substation = row.type == u'1';
    unless(
        IsKey(row.globalId), RegisterTexts::tr("global_id must be a whole number from 1 to 2147483647"), row.globalId);
    if (row.type == u'0') {
        unless(IsNodeAddress(row.uin), RegisterTexts::tr("the UIN of a node must be 16 digits 0-9 A-F"), row.uin);
        unless(row.uin.count(u'0') != 16, RegisterTexts::tr("the UIN must be that of a node"), row.uin);
    } else {
        unless(!row.uin.isEmpty(), RegisterTexts::tr("the UIN of a substation meter may be any name"), row.uin);
    }
    unless(model, RegisterTexts::tr("Model must be %1").arg(Either(NamesOfModels(false))), row.model);
    unless(!substation || !model || model->substation,
        RegisterTexts::tr("the Model of a substation meter must be %1").arg(Either(NamesOfModels(true))), row.model);
    unless(row.type == u'0' || substation, RegisterTexts::tr("Type must be 0 (behind a node) or 1 (substation meter)"),
        row.type);
    unless(!model || !model->numberIsAddress || isExponent || IsMeterNumber(row.number),
        RegisterTexts::tr("the Number of a %1 must be a whole number from 0 to 2147483647").arg(row.model), row.number);
    unless(!isExponent,
        RegisterTexts::tr("the Number must have all its digits (in the spreadsheet, make the column text)"),
        row.number);
    unless(IsLatin1(row.kiNumber), RegisterTexts::tr("KI_Number must be of Latin letters, digits and signs (Latin-1)"),
        row.kiNumber);
    return problems;
}

} // namespace

QStringList RegisterProblems(const QList<RegisterRow>& rows)
{
    QStringList problems;
    QHash<QString, QString> keyPlaces;
    QHash<QString, QString> uinPlaces;
    QString substationPlace;
    const auto noteTwice = [&](QString& first, const RegisterRow& row, const QString& what) {
        if (first.isEmpty())
            first = row.place;
        else
            problems.append(RegisterTexts::tr("%1: %2, as in %3").arg(row.place, what, first));
    };
    for (const RegisterRow& row : rows) {
        problems += ProblemsAlone(row);
        if (!row.globalId.isEmpty())
            noteTwice(keyPlaces[row.globalId], row, RegisterTexts::tr("global_id is \"%1\"").arg(row.globalId));
        if (!row.uin.isEmpty())
            noteTwice(uinPlaces[row.uin], row, RegisterTexts::tr("the UIN is \"%1\"").arg(row.uin));
        if (row.type == u'1')
            noteTwice(substationPlace, row, RegisterTexts::tr("this is a substation meter"));
    }
    return problems;
}

QString RegisterSummary(const QList<RegisterRow>& rows)
{
    const auto substations =
        std::count_if(rows.begin(), rows.end(), [](const RegisterRow& row) { return row.type == u'1'; });
    return RegisterTexts::tr("meters behind nodes: %1, substation meters: %2")
        .arg(rows.size() - substations)
        .arg(substations);
}

RegisterChange PlannedChange(const QList<RegisterRow>& stored, const QList<RegisterRow>& incoming)
{
    RegisterChange change;
    QHash<QString, RegisterRow> named;
    for (const RegisterRow& row : incoming)
        named.insert(row.globalId, row);
    for (const RegisterRow& row : stored) {
        const auto found = named.constFind(row.globalId);
        if (found == named.constEnd())
            change.kept.append(row);
        else
            (SameMeter(row, *found) ? change.unchanged : change.changed).append(*found);
        named.remove(row.globalId);
    }
    for (const RegisterRow& row : incoming)
        if (named.contains(row.globalId))
            change.added.append(row);
    return change;
}
