#include "ledgeranswers.h"

#include "ledgerwords.h"
#include "localtime.h"
#include "shown.h"
#include "sitereport.h"

#include <QJsonArray>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

using Store = OutcomeStore;

QJsonArray EnergyArray(const std::array<double, 5>& energy)
{
    QJsonArray array;
    for (const double value : energy)
        array.append(value);
    return array;
}

QJsonValue LastReading(const LedgerBook::LastRows& rows)
{
    if (!rows.readAt.isValid())
        return {};
    return QJsonObject{{u"at"_s, IsoText(rows.readAt)}, {u"energy"_s, EnergyArray(rows.energy)}};
}

QString StatusText(int status, const LedgerMeter& meter)
{
    return status == 0 ? QString() : LedgerWords::WordsOf(GapOf(status, meter));
}

QJsonValue Rounded(double seconds)
{
    return std::round(seconds * 1000) / 1000;
}

QJsonObject ClockValues(const MeterClock& clock)
{
    return {{u"asked"_s, IsoText(clock.asked)}, {u"offsetSeconds"_s, Rounded(clock.offset)},
        {u"driftSecondsPerDay"_s, clock.drift ? Rounded(*clock.drift) : QJsonValue()},
        {u"referenced"_s, clock.isReferenced}};
}

/// "letters" of a table of sweeps.
QJsonObject LetterWords()
{
    QJsonObject words{{u"."_s, u"not expected"_s}, {u"r"_s, u"read"_s}, {u"l"_s, u"read late"_s}};
    for (size_t gap = 0; gap < GapKinds; ++gap)
        words.insert(
            QString(QLatin1Char(Store::LetterOf(static_cast<Gap>(gap)))), LedgerWords::WordsOf(static_cast<Gap>(gap)));
    return words;
}

QJsonObject SweepObject(const Store::Sweep& sweep, qsizetype meters)
{
    QJsonArray stamps;
    for (const QDateTime& stamp : sweep.stamps)
        stamps.append(IsoText(stamp));
    QString letters(meters, u'.');
    int read = 0;
    int silent = 0;
    int missing = 0;
    for (qsizetype place = 0; place < sweep.meters.size(); ++place) {
        letters[place] = QLatin1Char(Store::LetterOf(sweep.meters[place]));
        const Store::Outcome outcome = Store::OutcomeOf(sweep.meters[place]);
        read += outcome.read;
        for (const std::optional<Gap> gap : outcome.gaps)
            if (gap)
                ++(*gap == Gap::NoRow || *gap == Gap::NoSweep ? missing : silent);
    }
    return {{u"due"_s, IsoText(sweep.due.at)}, {u"stamps"_s, stamps}, {u"made"_s, sweep.made}, {u"read"_s, read},
        {u"silent"_s, silent}, {u"missing"_s, missing}, {u"outcomes"_s, letters}};
}

/// Of the sweeps that were due in the last 24 hours.
struct NodeCounts {
    int undelivered = 0;
    int silent = 0;
    int late = 0;
};

QList<NodeCounts> LastCounts(const LedgerSnapshot& known, const QDateTime& now)
{
    QList<NodeCounts> counts(known.book.Meters().size());
    const QDateTime since = now.addDays(-1);
    for (const Store::Day& day : known.book.Outcomes().Days())
        for (const Store::Sweep& sweep : day.sweeps)
            for (qsizetype place = 0; sweep.due.at >= since && place < sweep.meters.size(); ++place) {
                const Store::Outcome outcome = Store::OutcomeOf(sweep.meters[place]);
                counts[place].late += outcome.late;
                for (const std::optional<Gap> gap : outcome.gaps)
                    if (gap == Gap::NotDelivered)
                        ++counts[place].undelivered;
                    else if (gap && *gap != Gap::NoRow && *gap != Gap::NoSweep)
                        ++counts[place].silent;
            }
    return counts;
}

} // namespace

QJsonObject LedgerAnswers::MeterObject(const LedgerMeter& meter)
{
    return {{u"globalId"_s, meter.globalId}, {u"uin"_s, Shown(meter.uin.toUtf8())},
        {u"number"_s, Shown(meter.number.toUtf8())}, {u"model"_s, Shown(meter.model.toUtf8())},
        {u"substation"_s, meter.isSubstation}, {u"inRegister"_s, meter.inRegister}};
}

QJsonObject LedgerAnswers::Meters(const LedgerSnapshot& known)
{
    const QList<LedgerMeter>& all = known.book.Meters();
    const QList<Sums> sums = SumsOf(known, known.first, known.today);
    QHash<qsizetype, const MeterClock*> clocks;
    for (const MeterClock& clock : known.clocks)
        if (clock.IsKnown())
            clocks.insert(clock.place, &clock);
    QJsonArray meters;
    for (qsizetype place = 0; place < all.size(); ++place) {
        QJsonObject meter = MeterObject(all[place]);
        const auto rows = known.book.Last().constFind(all[place].globalId);
        const bool hasRow = rows != known.book.Last().constEnd();
        meter.insert(u"lastReading"_s, hasRow ? LastReading(*rows) : QJsonValue());
        meter.insert(u"lastStatus"_s, hasRow ? QJsonValue(rows->status) : QJsonValue());
        meter.insert(u"lastStatusText"_s, hasRow ? QJsonValue(StatusText(rows->status, all[place])) : QJsonValue());
        meter.insert(u"lastAsked"_s, hasRow ? IsoText(rows->asked) : QJsonValue());
        const MeterClock* const clock = clocks.value(place);
        meter.insert(u"clock"_s, clock ? QJsonValue(ClockValues(*clock)) : QJsonValue());
        meter.insert(u"counts"_s, QJsonObject{{u"due"_s, sums[place].due}, {u"read"_s, sums[place].read}});
        meters.append(meter);
    }
    return {{u"meters"_s, meters}};
}

QJsonObject LedgerAnswers::Sweeps(const LedgerSnapshot& known, const QDateTime& from, const QDateTime& to)
{
    QJsonArray ids;
    for (const LedgerMeter& meter : known.book.Meters())
        ids.append(meter.globalId);
    QJsonArray sweeps;
    for (const Store::Day& day : known.book.Outcomes().Days())
        for (const Store::Sweep& sweep : day.sweeps)
            if (sweep.due.at >= from && sweep.due.at < to)
                sweeps.append(SweepObject(sweep, ids.size()));
    return {{u"from"_s, IsoText(from)}, {u"to"_s, IsoText(to)}, {u"meters"_s, ids}, {u"letters"_s, LetterWords()},
        {u"sweeps"_s, sweeps}};
}

QList<DayCounts> LedgerAnswers::CountsOf(const LedgerSnapshot& known, QDate first, QDate last, QTime deadline)
{
    Completeness completeness(QTime(0, 0).secsTo(deadline) / 60);
    for (const Store::Day& day : known.book.Outcomes().Days())
        if (day.date >= first && day.date <= last.addDays(1)) // the day after tells what was in time
            for (const Store::Sweep& sweep : day.sweeps)
                completeness.Add(Store::Unpacked(sweep, known.book.Meters()), known.book.Meters());
    QList<DayCounts> days = completeness.Days();
    days.removeIf([last](const DayCounts& day) { return day.day > last; });
    return days;
}

QList<LedgerAnswers::Sums> LedgerAnswers::SumsOf(const LedgerSnapshot& known, QDate first, QDate last)
{
    QList<Sums> sums(known.book.Meters().size());
    for (const Store::Day& day : known.book.Outcomes().Days())
        for (const Store::Sweep& sweep : day.sweeps)
            for (qsizetype place = 0; day.date >= first && day.date <= last && place < sweep.meters.size(); ++place) {
                const Store::Outcome outcome = Store::OutcomeOf(sweep.meters[place]);
                sums[place].due += outcome.due;
                sums[place].read += outcome.read;
            }
    return sums;
}

QByteArray LedgerAnswers::Report(const LedgerSnapshot& known, QDate first, QDate last, QTime deadline)
{
    SiteReport report;
    report.range = {std::max(first, known.first), std::min(last, known.today)};
    report.deadline = deadline;
    report.meters = known.book.Meters();
    report.days = CountsOf(known, report.range.first, report.range.last, deadline);
    for (const ReadingFinding& finding : known.book.ReadingsFound())
        if (finding.until.date() >= report.range.first && finding.since.date() <= report.range.last)
            report.readings.append(finding);
    report.meterOfReading = known.book.MetersOfReadings();
    report.clocks = known.clocks;
    report.unreadable = known.unreadable;
    return ReportJson(report, IsoText);
}

QJsonObject LedgerAnswers::Incidents(const LedgerSnapshot& known)
{
    QJsonArray incidents;
    for (const Incident& incident : known.incidents)
        incidents.append(IncidentObject(incident, known.book.Meters(), IsoText));
    return {{u"incidents"_s, incidents}};
}

QJsonObject LedgerAnswers::ClockObject(const MeterClock& clock, const QList<LedgerMeter>& meters)
{
    QJsonObject object{{u"globalId"_s, meters[clock.place].globalId}, {u"unreadable"_s, clock.unreadable},
        {u"isOff"_s, clock.isOff}, {u"drifts"_s, clock.drifts}, {u"text"_s, LedgerWords::SentenceOf(clock, meters)}};
    const QJsonObject values = ClockValues(clock);
    for (auto value = values.begin(); value != values.end(); ++value)
        object.insert(value.key(), clock.IsKnown() ? value.value() : QJsonValue());
    if (!clock.IsKnown())
        object.insert(u"referenced"_s, false);
    return object;
}

QJsonObject LedgerAnswers::Clocks(const LedgerSnapshot& known)
{
    QJsonArray clocks;
    for (const MeterClock& clock : known.clocks)
        clocks.append(ClockObject(clock, known.book.Meters()));
    return {{u"clocks"_s, clocks}};
}

QJsonArray LedgerAnswers::ClockReadings(const QList<ClockOffset>& offsets)
{
    QJsonArray readings;
    for (const ClockOffset& offset : offsets)
        readings.append(QJsonObject{{u"asked"_s, IsoText(offset.asked)}, {u"shown"_s, IsoText(offset.shown)},
            {u"offsetSeconds"_s, Rounded(offset.seconds)}});
    return readings;
}

QJsonObject LedgerAnswers::Nodes(
    const LedgerSnapshot& known, const QHash<QString, QDateTime>& heard, const QDateTime& now)
{
    const QList<NodeCounts> counts = LastCounts(known, now);
    const QList<LedgerMeter>& meters = known.book.Meters();
    const auto heardText = [](const QDateTime& at) {
        return at.isValid() ? QJsonValue(at.toOffsetFromUtc(at.offsetFromUtc()).toString(Qt::ISODate)) : QJsonValue();
    };
    QJsonArray nodes;
    QHash<QString, QDateTime> others = heard;
    for (qsizetype place = 0; place < meters.size(); ++place) {
        const LedgerMeter& meter = meters[place];
        if (meter.isSubstation || !meter.inRegister)
            continue;
        nodes.append(QJsonObject{{u"uin"_s, Shown(meter.uin.toUtf8())}, {u"inRegister"_s, true},
            {u"globalId"_s, meter.globalId}, {u"heard"_s, heardText(others.take(meter.uin))},
            {u"lastReading"_s, IsoText(known.book.Last().value(meter.globalId).readAt)},
            {u"undelivered24h"_s, counts[place].undelivered}, {u"silent24h"_s, counts[place].silent},
            {u"late24h"_s, counts[place].late}});
    }
    QStringList uins = others.keys();
    uins.sort();
    for (const QString& uin : uins)
        nodes.append(QJsonObject{{u"uin"_s, Shown(uin.toUtf8())}, {u"inRegister"_s, false}, {u"globalId"_s, {}},
            {u"heard"_s, heardText(others[uin])}, {u"lastReading"_s, {}}, {u"undelivered24h"_s, 0}, {u"silent24h"_s, 0},
            {u"late24h"_s, 0}});
    return {{u"nodes"_s, nodes}};
}

QJsonObject LedgerAnswers::Readings(const LedgerMeter& meter, const StoredDay& sweeps, qsizetype most)
{
    QJsonArray readings;
    QJsonValue next;
    for (const StoredSweep& sweep : sweeps) {
        if (readings.size() + sweep.rows.size() > most) {
            next = IsoText(sweep.stamp);
            break;
        }
        const QJsonValue at = IsoText(sweep.stamp);
        for (const ReadingRow& row : sweep.rows)
            readings.append(QJsonObject{{u"at"_s, at}, {u"status"_s, row.status},
                {u"energy"_s, row.status == 0 ? QJsonValue(EnergyArray(row.energy)) : QJsonValue()},
                {u"text"_s, StatusText(row.status, meter)}});
    }
    return {{u"meter"_s, MeterObject(meter)}, {u"readings"_s, readings}, {u"next"_s, next}};
}
