#include "bill.h"

#include "csvtext.h"
#include "ledgerwords.h"
#include "shown.h"
#include "texts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

using Energies = std::array<double, 5>;

QString MonthText(QDate month)
{
    return month.toString(u"yyyy-MM"_s);
}

QString StampText(const QDateTime& stamp)
{
    return stamp.toString(u"yyyy-MM-dd hh:mm:ss"_s);
}

/// A difference without what its binary form adds.
double Rounded(double kWh)
{
    constexpr double Steps = 1e6;
    return std::round(kWh * Steps) / Steps;
}

QString NumberText(double kWh)
{
    constexpr int Digits = 12;
    return QString::number(Rounded(kWh), 'g', Digits);
}

QLatin1StringView KeyOf(MeterUse::Lack lack)
{
    switch (lack) {
    case MeterUse::Lack::None:
        return QLatin1StringView("none");
    case MeterUse::Lack::NoReading:
        return QLatin1StringView("no_reading");
    case MeterUse::Lack::OneReading:
        return QLatin1StringView("one_reading");
    case MeterUse::Lack::WentBack:
        return QLatin1StringView("went_back");
    case MeterUse::Lack::Exchanged:
        return QLatin1StringView("exchanged");
    case MeterUse::Lack::Doubtful:
        return QLatin1StringView("doubtful");
    }
    Q_UNREACHABLE();
}

QJsonArray AsJson(const Energies& energies)
{
    QJsonArray array;
    for (const double value : energies)
        array.append(Rounded(value));
    return array;
}

QJsonValue AsJson(const std::optional<BilledReading>& reading)
{
    if (!reading)
        return {};
    return QJsonObject{{u"at"_s, StampText(reading->stamp)}, {u"energy"_s, AsJson(reading->energy)}};
}

QString ReadingColumns(const std::optional<BilledReading>& reading)
{
    QStringList columns{reading ? StampText(reading->stamp) : QString()};
    for (size_t i = 0; i < std::tuple_size_v<Energies>; ++i)
        columns.append(reading ? NumberText(reading->energy[i]) : QString());
    return columns.join(u',');
}

QString Column(const QString& text)
{
    constexpr int Width = 12;
    return text.rightJustified(Width);
}

} // namespace

int Bill::Billed() const
{
    return static_cast<int>(
        std::count_if(uses.begin(), uses.end(), [](const MeterUse& use) { return use.lack == MeterUse::Lack::None; }));
}

QString Bill::ReasonOf(const MeterUse& use) const
{
    const QString gaps = LedgerWords::WordsOf(counts.value(use.place));
    switch (use.lack) {
    case MeterUse::Lack::None:
        return {};
    case MeterUse::Lack::NoReading:
        return gaps.isEmpty() ? Texts::tr("no row in this month") : Texts::tr("no reading: %1").arg(gaps);
    case MeterUse::Lack::OneReading:
        return gaps.isEmpty() ? Texts::tr("one reading only") : Texts::tr("one reading only: %1").arg(gaps);
    case MeterUse::Lack::WentBack:
        return Texts::tr("less at the end than at the beginning: exchanged or reset");
    case MeterUse::Lack::Exchanged:
    case MeterUse::Lack::Doubtful:
        return LedgerWords::SentenceOf(*use.finding, meterOfFinding);
    }
    Q_UNREACHABLE();
}

QString BillAsTable(const Bill& bill)
{
    QString head;
    for (const QString& column : {Texts::tr("use, kWh"), u"T1"_s, u"T2"_s, u"T3"_s, u"T4"_s})
        head += Column(column);
    QStringList lines{head + "  "_L1 + Texts::tr("from").leftJustified(21) + Texts::tr("until").leftJustified(21)
        + Texts::tr("meter")};
    QStringList without;
    for (const MeterUse& use : bill.uses) {
        const QString name = LedgerWords::NameOf(bill.meters[use.place]);
        if (use.lack != MeterUse::Lack::None) {
            const QString reason = bill.ReasonOf(use); // a finding names its meter
            without.append(use.finding ? u"  "_s + reason : u"  %1: %2"_s.arg(name, reason));
            continue;
        }
        QString line;
        for (const double value : use.use)
            line += Column(NumberText(value));
        lines.append(line + u"  %1  %2  %3"_s.arg(StampText(use.first->stamp), StampText(use.last->stamp), name));
    }
    lines += {QString(),
        Texts::tr("%1: meters with a use: %2 of %3")
            .arg(MonthText(bill.month))
            .arg(bill.Billed())
            .arg(bill.uses.size())};
    if (!without.isEmpty())
        lines += Texts::tr("without, and why:");
    return (lines + without).join(u'\n');
}

QString BillAsCsv(const Bill& bill)
{
    QStringList lines{
        u"month,global_id,uin,number,model,from,from_total,from_t1,from_t2,from_t3,from_t4,until,"
        "until_total,until_t1,until_t2,until_t3,until_t4,use_total,use_t1,use_t2,use_t3,use_t4,lack,reason"_s};
    for (const MeterUse& use : bill.uses) {
        const LedgerMeter& meter = bill.meters[use.place];
        QStringList line{MonthText(bill.month), QString::number(meter.globalId), CsvText(meter.uin),
            CsvText(meter.number), CsvText(meter.model), ReadingColumns(use.first), ReadingColumns(use.last)};
        for (const double value : use.use)
            line.append(use.lack == MeterUse::Lack::None ? NumberText(value) : QString());
        lines.append((line + QStringList{KeyOf(use.lack), CsvText(bill.ReasonOf(use))}).join(u','));
    }
    return lines.join(u'\n');
}

QString BillAsJson(const Bill& bill)
{
    QJsonArray meters;
    for (const MeterUse& use : bill.uses) {
        const LedgerMeter& meter = bill.meters[use.place];
        const bool isBilled = use.lack == MeterUse::Lack::None;
        meters.append(QJsonObject{{u"globalId"_s, meter.globalId}, {u"uin"_s, Shown(meter.uin.toUtf8())},
            {u"number"_s, Shown(meter.number.toUtf8())}, {u"model"_s, Shown(meter.model.toUtf8())},
            {u"inRegister"_s, meter.inRegister}, {u"first"_s, AsJson(use.first)}, {u"last"_s, AsJson(use.last)},
            {u"use"_s, isBilled ? QJsonValue(AsJson(use.use)) : QJsonValue()},
            {u"lack"_s, isBilled ? QJsonValue() : QJsonValue(QString(KeyOf(use.lack)))},
            {u"text"_s, bill.ReasonOf(use)}});
    }
    const QJsonObject all{{u"month"_s, MonthText(bill.month)}, {u"billed"_s, bill.Billed()}, {u"meters"_s, meters}};
    return QString::fromUtf8(QJsonDocument(all).toJson()).trimmed();
}
