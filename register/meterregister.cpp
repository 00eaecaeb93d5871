#include "meterregister.h"

#include "metermodel.h"

#include <QHash>

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

/// "a CE301 or a SET3" with the article "a ".
QString Either(QStringList names, const QString& article)
{
    const QString last = article + names.takeLast();
    for (QString& name : names)
        name.prepend(article);
    return names.join(", "_L1) + " or "_L1 + last;
}

QStringList ProblemsAlone(const RegisterRow& row)
{
    const MeterModel* const model = FindMeterModel(row.model);
    QStringList problems;
    const auto unless = [&](bool right, const QString& what, const QString& value) {
        if (!right)
            problems.append(u"%1: %2, not \"%3\""_s.arg(row.place, what, value));
    };
    const bool substation = row.type == u'1';
    unless(IsKey(row.globalId), u"global_id must be a whole number from 1 to 2147483647"_s, row.globalId);
    if (row.type == u'0') {
        unless(IsNodeAddress(row.uin), u"the UIN of a node must be 16 digits 0-9 A-F"_s, row.uin);
        unless(row.uin.count(u'0') != 16, u"the UIN must be that of a node"_s, row.uin);
    } else {
        unless(!row.uin.isEmpty(), u"the UIN of a substation meter may be any name"_s, row.uin);
    }
    unless(model, u"Model must be %1"_s.arg(Either(NamesOfModels(false), {})), row.model);
    unless(!substation || !model || model->substation,
        u"the substation meter must be %1"_s.arg(Either(NamesOfModels(true), u"a "_s)), row.model);
    unless(row.type == u'0' || substation, u"Type must be 0 (behind a node) or 1 (substation meter)"_s, row.type);
    unless(!model || !model->numberIsAddress || IsMeterNumber(row.number),
        u"the Number of a %1 must be a whole number from 0 to 2147483647"_s.arg(row.model), row.number);
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
            problems.append(u"%1: %2, as in %3"_s.arg(row.place, what, first));
    };
    for (const RegisterRow& row : rows) {
        problems += ProblemsAlone(row);
        if (!row.globalId.isEmpty())
            noteTwice(keyPlaces[row.globalId], row, u"global_id is \"%1\""_s.arg(row.globalId));
        if (!row.uin.isEmpty())
            noteTwice(uinPlaces[row.uin], row, u"the UIN is \"%1\""_s.arg(row.uin));
        if (row.type == u'1')
            noteTwice(substationPlace, row, u"this is a substation meter"_s);
    }
    return problems;
}

QString RegisterSummary(const QList<RegisterRow>& rows)
{
    const auto substations =
        std::count_if(rows.begin(), rows.end(), [](const RegisterRow& row) { return row.type == u'1'; });
    return u"meters behind nodes: %1, substation meters: %2"_s.arg(rows.size() - substations).arg(substations);
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
