#include "sitereport.h"

#include "ledgerwords.h"
#include "shown.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>

using namespace Qt::StringLiterals;

namespace {

QString DateText(QDate date)
{
    return date.toString(u"yyyy-MM-dd"_s);
}

QJsonObject AsJson(const ReadingCounts& counts)
{
    QJsonObject gaps;
    for (size_t i = 0; i < GapKinds; ++i)
        if (counts.gaps[i] > 0)
            gaps.insert(LedgerWords::KeyOf(static_cast<Gap>(i)), counts.gaps[i]);
    return {{u"due"_s, counts.due}, {u"read"_s, counts.read}, {u"late"_s, counts.late},
        {u"byDeadline"_s, counts.byDeadline}, {u"perhapsByDeadline"_s, counts.perhapsByDeadline},
        {u"percent"_s, Percent(counts.read, counts.due)},
        {u"percentByDeadline"_s, Percent(counts.byDeadline, counts.due)}, {u"gaps"_s, gaps}};
}

QJsonObject Named(const LedgerMeter& meter, QJsonObject object)
{
    object.insert(u"globalId"_s, meter.globalId);
    if (meter.inRegister) {
        object.insert(u"uin"_s, Shown(meter.uin.toUtf8()));
        object.insert(u"model"_s, Shown(meter.model.toUtf8()));
    }
    return object;
}

QJsonObject AsJson(const ReadingFinding& finding, const QList<LedgerMeter>& meters, TimeText time)
{
    return Named(meters[finding.place],
        {{u"kind"_s, QString(LedgerWords::KeyOf(finding.kind))}, {u"since"_s, time(finding.since)},
            {u"until"_s, time(finding.until)}, {u"before"_s, finding.before}, {u"value"_s, finding.value},
            {u"times"_s, finding.times}, {u"isConfirmed"_s, finding.isConfirmed},
            {u"text"_s, LedgerWords::SentenceOf(finding, meters)}});
}

QJsonObject AsJson(const MeterClock& clock, const QList<LedgerMeter>& meters, TimeText time)
{
    QJsonObject object{{u"readings"_s, clock.readings}, {u"unreadable"_s, clock.unreadable}};
    if (clock.IsKnown()) {
        object.insert(u"asked"_s, time(clock.asked));
        object.insert(u"offset"_s, clock.offset);
        object.insert(u"isReferenced"_s, clock.isReferenced);
        object.insert(u"drift"_s, clock.drift ? QJsonValue(*clock.drift) : QJsonValue());
        object.insert(u"isOff"_s, clock.isOff);
        object.insert(u"drifts"_s, clock.drifts);
    }
    return Named(meters[clock.place], object);
}

QJsonArray DaysAsJson(const SiteReport& report)
{
    QJsonArray days;
    for (const DayCounts& day : report.days) {
        QJsonArray meters;
        for (qsizetype place = 0; place < day.meters.size(); ++place)
            if (day.meters[place].due > 0)
                meters.append(Named(report.meters[place], AsJson(day.meters[place])));
        days.append(QJsonObject{{u"day"_s, DateText(day.day)}, {u"sweepsDue"_s, day.sweepsDue},
            {u"sweepsMade"_s, day.sweepsMade}, {u"sum"_s, AsJson(day.Sum())}, {u"meters"_s, meters}});
    }
    return days;
}

} // namespace

ReadingCounts SiteReport::Sum() const
{
    ReadingCounts sum;
    for (const DayCounts& day : days)
        sum += day.Sum();
    return sum;
}

QList<ReadingCounts> SiteReport::ByMeter() const
{
    QList<ReadingCounts> sums(meters.size());
    for (const DayCounts& day : days)
        for (qsizetype place = 0; place < day.meters.size(); ++place)
            sums[place] += day.meters[place];
    return sums;
}

QList<MeterClock> SiteReport::OddClocks() const
{
    QList<MeterClock> odd;
    for (const MeterClock& clock : clocks)
        if (clock.isOff || clock.drifts || clock.unreadable > 0)
            odd.append(clock);
    return odd;
}

QJsonValue WallText(const QDateTime& wall)
{
    return wall.isValid() ? QJsonValue(wall.toString(u"yyyy-MM-dd hh:mm:ss"_s)) : QJsonValue();
}

QJsonObject IncidentObject(const Incident& incident, const QList<LedgerMeter>& meters, TimeText time)
{
    QJsonArray concerned;
    for (const qsizetype place : incident.places)
        concerned.append(
            QJsonObject{{u"globalId"_s, meters[place].globalId}, {u"uin"_s, Shown(meters[place].uin.toUtf8())}});
    return {{u"kind"_s, QString(LedgerWords::KeyOf(incident.kind))}, {u"since"_s, time(incident.since)},
        {u"until"_s, time(incident.until)}, {u"beganBefore"_s, incident.beganBefore}, {u"times"_s, incident.times},
        {u"sweeps"_s, incident.sweeps}, {u"meters"_s, concerned},
        {u"text"_s, LedgerWords::SentenceOf(incident, meters)}};
}

namespace {

/// All but the days.
QJsonObject HeadOf(const SiteReport& report, TimeText time)
{
    QJsonArray meters;
    const QList<ReadingCounts> counts = report.ByMeter();
    for (qsizetype place = 0; place < counts.size(); ++place)
        meters.append(Named(report.meters[place], AsJson(counts[place])));
    QJsonArray readings;
    for (const ReadingFinding& finding : report.readings)
        readings.append(AsJson(finding, report.meterOfReading, time));
    QJsonArray clocks;
    for (const MeterClock& clock : report.clocks)
        clocks.append(AsJson(clock, report.meters, time));
    return {{u"from"_s, DateText(report.range.first)}, {u"to"_s, DateText(report.range.last)},
        {u"deadline"_s, report.deadline.toString(u"hh:mm"_s)}, {u"sum"_s, AsJson(report.Sum())}, {u"meters"_s, meters},
        {u"readings"_s, readings}, {u"clocks"_s, clocks}, {u"unreadable"_s, report.unreadable}};
}

/// The members of `object`, without the braces.
QByteArray MembersOf(const QJsonObject& object)
{
    const QByteArray text = QJsonDocument(object).toJson(QJsonDocument::Compact);
    return text.sliced(1, text.size() - 2);
}

void AppendMeters(QByteArray& text, const DayCounts& day, const QList<QByteArray>& names)
{
    bool isFirst = true;
    for (qsizetype place = 0; place < day.meters.size(); ++place) {
        const ReadingCounts& counts = day.meters[place];
        if (counts.due == 0)
            continue;
        const auto percent = [&counts](int part) { return QByteArray::number(Percent(part, counts.due), 'g', 4); };
        text += isFirst ? "{" : ",{";
        isFirst = false;
        text += names[place] + ",\"due\":" + QByteArray::number(counts.due)
            + ",\"read\":" + QByteArray::number(counts.read) + ",\"late\":" + QByteArray::number(counts.late)
            + ",\"byDeadline\":" + QByteArray::number(counts.byDeadline) + ",\"perhapsByDeadline\":"
            + QByteArray::number(counts.perhapsByDeadline) + ",\"percent\":" + percent(counts.read)
            + ",\"percentByDeadline\":" + percent(counts.byDeadline) + ",\"gaps\":{";
        const char* between = "\"";
        for (size_t gap = 0; gap < GapKinds; ++gap)
            if (counts.gaps[gap] > 0) {
                text += between + QByteArray(LedgerWords::KeyOf(static_cast<Gap>(gap)).data())
                    + "\":" + QByteArray::number(counts.gaps[gap]);
                between = ",\"";
            }
        text += "}}";
    }
}

} // namespace

QJsonObject ReportObject(const SiteReport& report, TimeText time)
{
    QJsonObject object = HeadOf(report, time);
    object.insert(u"days"_s, DaysAsJson(report));
    return object;
}

QByteArray ReportJson(const SiteReport& report, TimeText time)
{
    QList<QByteArray> names;
    for (const LedgerMeter& meter : report.meters)
        names.append(MembersOf(Named(meter, {})));
    constexpr qsizetype UsualSize = 250; // of one meter and day
    QByteArray text;
    text.reserve(UsualSize * report.meters.size() * (report.days.size() + 2));
    text += '{' + MembersOf(HeadOf(report, time)) + ",\"days\":[";
    for (const DayCounts& day : report.days) {
        const QJsonObject head{{u"day"_s, DateText(day.day)}, {u"sweepsDue"_s, day.sweepsDue},
            {u"sweepsMade"_s, day.sweepsMade}, {u"sum"_s, AsJson(day.Sum())}};
        text += (text.endsWith('[') ? "{" : ",{") + MembersOf(head) + ",\"meters\":[";
        AppendMeters(text, day, names);
        text += "]}";
    }
    return text + "]}";
}
