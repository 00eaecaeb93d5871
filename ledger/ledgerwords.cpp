#include "ledgerwords.h"

#include "shown.h"

#include <QCoreApplication>
#include <QStringList>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

class LedgerTexts final {
    Q_DECLARE_TR_FUNCTIONS(ledger)
};

struct Words {
    QLatin1StringView key;
    const char* words;
};

constexpr std::array<Words, GapKinds> Gaps{{
    {QLatin1StringView("undecodable"), QT_TRANSLATE_NOOP("ledger", "answer not decodable (1)")},
    {QLatin1StringView("substation_silent"), QT_TRANSLATE_NOOP("ledger", "substation meter silent (1)")},
    {QLatin1StringView("no_reading"), QT_TRANSLATE_NOOP("ledger", "node heard, no reading (2)")},
    {QLatin1StringView("not_delivered"), QT_TRANSLATE_NOOP("ledger", "not delivered (3)")},
    {QLatin1StringView("nothing_heard"), QT_TRANSLATE_NOOP("ledger", "nothing heard (255)")},
    {QLatin1StringView("unknown_status"), QT_TRANSLATE_NOOP("ledger", "unknown status")},
    {QLatin1StringView("zero_row"), QT_TRANSLATE_NOOP("ledger", "a row of zeros")},
    {QLatin1StringView("not_stored"), QT_TRANSLATE_NOOP("ledger", "answers of its model are not stored")},
    {QLatin1StringView("no_row"), QT_TRANSLATE_NOOP("ledger", "no row in the sweep")},
    {QLatin1StringView("no_sweep"), QT_TRANSLATE_NOOP("ledger", "no sweep")},
}};

constexpr std::array<QLatin1StringView, 8> ReadingKinds{QLatin1StringView("went_back"), QLatin1StringView("jump"),
    QLatin1StringView("out_of_line"), QLatin1StringView("unusual"), QLatin1StringView("standstill"),
    QLatin1StringView("stuck"), QLatin1StringView("tariff_sum"), QLatin1StringView("number_changed")};

constexpr std::array<Words, KindsOfIncident> IncidentKinds{{
    {QLatin1StringView("no_rows"),
        QT_TRANSLATE_NOOP("ledger", "no rows of due sweeps: the daemon or the database was away")},
    {QLatin1StringView("sweeps_left_out"),
        QT_TRANSLATE_NOOP("ledger", "sweeps left out again and again: more is due than there is time for")},
    {QLatin1StringView("all_silent"),
        QT_TRANSLATE_NOOP("ledger", "nobody answered, neither nodes nor substation meter")},
    {QLatin1StringView("modem_deaf"), QT_TRANSLATE_NOOP("ledger", "no node meter answered: look at the modem")},
    {QLatin1StringView("substation_silent"), QT_TRANSLATE_NOOP("ledger", "the substation meter was silent")},
    {QLatin1StringView("group_silent"),
        QT_TRANSLATE_NOOP("ledger", "meters silent together: look at what their nodes have in common")},
    {QLatin1StringView("node_silent"), QT_TRANSLATE_NOOP("ledger", "one meter silent")},
}};

QString Minute(const QDateTime& time)
{
    return time.toString(u"yyyy-MM-dd hh:mm"_s);
}

QString KWh(double value)
{
    return QString::number(value, 'g', 7);
}

QString Signed(double value, int digits)
{
    return (value < 0 ? u""_s : u"+"_s) + QString::number(value, 'f', digits);
}

} // namespace

namespace LedgerWords {

QLatin1StringView KeyOf(Gap gap)
{
    return Gaps[static_cast<size_t>(gap)].key;
}

QLatin1StringView KeyOf(ReadingFinding::Kind kind)
{
    return ReadingKinds[static_cast<size_t>(kind)];
}

QLatin1StringView KeyOf(Incident::Kind kind)
{
    return IncidentKinds[static_cast<size_t>(kind)].key;
}

QString WordsOf(Gap gap)
{
    return LedgerTexts::tr(Gaps[static_cast<size_t>(gap)].words);
}

QString WordsOf(const ReadingCounts& counts)
{
    QStringList gaps;
    for (size_t i = 0; i < GapKinds; ++i)
        if (counts.gaps[i] > 0)
            gaps.append(u"%1: %2"_s.arg(WordsOf(static_cast<Gap>(i))).arg(counts.gaps[i]));
    return gaps.join(u", "_s);
}

QString NameOf(const LedgerMeter& meter)
{
    if (!meter.inRegister)
        return LedgerTexts::tr("%1 (not in the register)").arg(meter.globalId);
    return u"%1 (%2, %3)"_s.arg(
        QString::number(meter.globalId), Shown(meter.uin.toUtf8()), Shown(meter.model.toUtf8()));
}

QString SentenceOf(const ReadingFinding& finding, const QList<LedgerMeter>& meters)
{
    using Kind = ReadingFinding::Kind;
    const QString meter = NameOf(meters[finding.place]);
    const QString since = Minute(finding.since);
    const QString until = Minute(finding.until);
    switch (finding.kind) {
    case Kind::WentBack:
        return finding.isConfirmed
            ? LedgerTexts::tr("%1: at %2 from %3 back to %4 kWh, and it goes on from there: exchanged or reset")
                  .arg(meter, since, KWh(finding.before), KWh(finding.value))
            : LedgerTexts::tr("%1: at %2 from %3 back to %4 kWh; no later reading tells whether it stays so")
                  .arg(meter, since, KWh(finding.before), KWh(finding.value));
    case Kind::Jump:
        return LedgerTexts::tr("%1: at %2 from %3 to %4 kWh, %5 kW on average: more than the limit")
            .arg(meter, since, KWh(finding.before), KWh(finding.value), KWh(finding.powerKw));
    case Kind::OutOfLine:
        return LedgerTexts::tr("%1: at %2 one reading of %4 kWh after %3 kWh, which does not fit the next ones")
            .arg(meter, since, KWh(finding.before), KWh(finding.value));
    case Kind::Unusual:
        return LedgerTexts::tr("%1: %2 to %3: %4 kWh a day, where %5 is usual")
            .arg(meter, since, until, KWh(finding.value), KWh(finding.before));
    case Kind::Standstill:
        return LedgerTexts::tr("%1: stands at %4 kWh, from %2 to %3 at least")
            .arg(meter, since, until, KWh(finding.value));
    case Kind::Stuck:
        return LedgerTexts::tr("%1: stuck at %4 kWh from %2 to %3, while others move")
            .arg(meter, since, until, KWh(finding.value));
    case Kind::TariffSum:
        return LedgerTexts::tr("%1: %2 to %3, readings: %6: the tariffs make %5 kWh, the total is %4")
            .arg(meter, since, until, KWh(finding.before), KWh(finding.value), QString::number(finding.times));
    case Kind::NumberChanged:
        return LedgerTexts::tr("%1: its number in the register was \"%2\" and is \"%3\"")
            .arg(meter, Shown(finding.numberBefore.toUtf8()), Shown(meters[finding.place].number.toUtf8()));
    }
    Q_UNREACHABLE();
}

QString SentenceOf(const MeterClock& clock, const QList<LedgerMeter>& meters)
{
    const QString meter = NameOf(meters[clock.place]);
    if (!clock.IsKnown())
        return LedgerTexts::tr("%1: no clock reading; rows that are no time: %2")
            .arg(meter, QString::number(clock.unreadable));
    const QString drift = clock.drift ? LedgerTexts::tr("drift %1 s a day").arg(Signed(*clock.drift, 2))
                                      : LedgerTexts::tr("drift unknown");
    const QString text =
        LedgerTexts::tr("%1: %2 s at %3, %4, readings: %5")
            .arg(meter, Signed(clock.offset, 0), Minute(clock.asked), drift, QString::number(clock.readings));
    return clock.unreadable == 0 ? text : text + LedgerTexts::tr(", rows that are no time: %1").arg(clock.unreadable);
}

QString SentenceOf(const Incident& incident, const QList<LedgerMeter>& meters)
{
    const QString since =
        incident.beganBefore ? LedgerTexts::tr("%1 or before").arg(Minute(incident.since)) : Minute(incident.since);
    const QString words = LedgerTexts::tr(IncidentKinds[static_cast<size_t>(incident.kind)].words);
    const QString sweeps = QString::number(incident.sweeps);
    QString text = incident.until.isValid()
        ? LedgerTexts::tr("%1 to %2: %3; due sweeps: %4").arg(since, Minute(incident.until), words, sweeps)
        : LedgerTexts::tr("since %1, not over yet: %2; due sweeps: %3").arg(since, words, sweeps);
    if (incident.times > 1)
        text += LedgerTexts::tr(", in stretches: %1").arg(incident.times);
    if (incident.places.isEmpty())
        return text;
    if (incident.kind == Incident::Kind::ModemDeaf)
        return text + LedgerTexts::tr("; meters: %1").arg(incident.places.size());
    constexpr qsizetype MostNames = 20;
    QStringList names;
    for (const qsizetype place : incident.places.first(std::min(MostNames, incident.places.size())))
        names.append(NameOf(meters[place]));
    const qsizetype further = incident.places.size() - names.size();
    text += LedgerTexts::tr("; meters: %1").arg(names.join(u", "_s));
    return further == 0 ? text : text + LedgerTexts::tr(", and %1 more").arg(further);
}

} // namespace LedgerWords
