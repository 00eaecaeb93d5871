#include "reporttext.h"

#include "csvtext.h"
#include "ledgerwords.h"
#include "shown.h"
#include "texts.h"

#include <QJsonDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QString DateText(QDate date)
{
    return date.toString(u"yyyy-MM-dd"_s);
}

QString PercentText(int part, int whole)
{
    return QString::number(Percent(part, whole), 'f', 1);
}

QString Columns(const QStringList& columns)
{
    QString text;
    for (const QString& column : columns)
        text += column.rightJustified(8);
    return text;
}

QString CountColumns(const ReadingCounts& counts)
{
    return Columns({QString::number(counts.due), QString::number(counts.read), PercentText(counts.read, counts.due),
        QString::number(counts.late), QString::number(counts.byDeadline)});
}

QString Head()
{
    return Columns({Texts::tr("due"), Texts::tr("read"), u"%"_s, Texts::tr("late"), Texts::tr("in time")}) + u"  "_s;
}

QStringList Summary(const SiteReport& report)
{
    const ReadingCounts sum = report.Sum();
    int due = 0;
    int made = 0;
    for (const DayCounts& day : report.days) {
        due += day.sweepsDue;
        made += day.sweepsMade;
    }
    const QString days = report.range.first == report.range.last
        ? DateText(report.range.first)
        : Texts::tr("%1 to %2").arg(DateText(report.range.first), DateText(report.range.last));
    QStringList lines{Texts::tr("%1: sweeps due: %2, made: %3").arg(days).arg(due).arg(made),
        Texts::tr("readings due: %1, there: %2 (%3 %), of these late: %4")
            .arg(QString::number(sum.due), QString::number(sum.read), PercentText(sum.read, sum.due),
                QString::number(sum.late)),
        Texts::tr("in time, by %1 of the day after: %2 (%3 %)")
            .arg(report.deadline.toString(u"hh:mm"_s), QString::number(sum.byDeadline),
                PercentText(sum.byDeadline, sum.due))};
    if (sum.perhapsByDeadline > 0)
        lines.last() += Texts::tr(", and perhaps %1: the rows do not tell").arg(sum.perhapsByDeadline);
    if (report.unreadable > 0)
        lines.append(Texts::tr("rows whose time is none, left out: %1").arg(report.unreadable));
    return lines;
}

QStringList DayLines(const SiteReport& report)
{
    if (report.days.size() < 2)
        return {};
    QStringList lines{QString(), Head() + Texts::tr("day")};
    for (const DayCounts& day : report.days)
        lines.append(CountColumns(day.Sum()) + u"  "_s + DateText(day.day));
    return lines;
}

/// A meter lacks readings of its own, or only those of sweeps that were not made at all.
bool LacksItsOwn(const ReadingCounts& counts)
{
    return counts.due - counts.read > counts.Of(Gap::NoSweep);
}

/// The worst first.
QList<qsizetype> WithGaps(const QList<ReadingCounts>& counts)
{
    QList<qsizetype> places;
    for (qsizetype place = 0; place < counts.size(); ++place)
        if (LacksItsOwn(counts[place]))
            places.append(place);
    const auto share = [&counts](
                           qsizetype place) { return static_cast<double>(counts[place].read) / counts[place].due; };
    std::stable_sort(places.begin(), places.end(), [&](qsizetype a, qsizetype b) { return share(a) < share(b); });
    return places;
}

QStringList MeterLines(const SiteReport& report)
{
    constexpr qsizetype MostLines = 20;
    const QList<ReadingCounts> counts = report.ByMeter();
    const QList<qsizetype> gaps = WithGaps(counts);
    QStringList lines{QString()};
    if (!gaps.isEmpty())
        lines.append(Head() + Texts::tr("meter: readings that are not there"));
    for (const qsizetype place : gaps.first(std::min(MostLines, gaps.size())))
        lines.append(CountColumns(counts[place]) + u"  "_s + LedgerWords::NameOf(report.meters[place]) + u": "_s
            + LedgerWords::WordsOf(counts[place]));
    if (gaps.size() > MostLines) {
        const ReadingCounts& next = counts[gaps[MostLines]];
        lines.append(Texts::tr("further meters with gaps: %1, each with %2 % or more; --format csv lists all")
                         .arg(gaps.size() - MostLines)
                         .arg(PercentText(next.read, next.due)));
    }
    QStringList unknown;
    int whole = 0;
    for (qsizetype place = 0; place < counts.size(); ++place)
        if (counts[place].due == 0 && report.meters[place].inRegister)
            unknown.append(LedgerWords::NameOf(report.meters[place]));
        else if (counts[place].due > 0 && !LacksItsOwn(counts[place]))
            ++whole;
    lines.append(Texts::tr("meters with a reading in each sweep that was made: %1").arg(whole));
    if (!unknown.isEmpty())
        lines.append(Texts::tr("meters without any row, not counted: %1").arg(unknown.join(u", "_s)));
    return lines;
}

QStringList ReadingLines(const SiteReport& report)
{
    QStringList lines;
    if (!report.readings.isEmpty())
        lines = {QString(), Texts::tr("readings to look at:")};
    for (const ReadingFinding& finding : report.readings)
        lines.append(u"  "_s + LedgerWords::SentenceOf(finding, report.meterOfReading));
    return lines;
}

QStringList ClockLines(const SiteReport& report)
{
    const auto known =
        std::count_if(report.clocks.begin(), report.clocks.end(), [](const MeterClock& c) { return c.IsKnown(); });
    const auto referenced =
        std::count_if(report.clocks.begin(), report.clocks.end(), [](const MeterClock& c) { return c.isReferenced; });
    QStringList lines{QString(), Texts::tr("clocks read in 30 days: %1 of %2").arg(known).arg(report.clocks.size())};
    if (known > referenced)
        lines.last() += Texts::tr(", by this computer's own clock alone: %1").arg(known - referenced);
    for (const MeterClock& clock : report.OddClocks())
        lines.append(u"  "_s + LedgerWords::SentenceOf(clock, report.meters));
    return lines;
}

} // namespace

QString ReportAsText(const SiteReport& report)
{
    return (Summary(report) + DayLines(report) + MeterLines(report) + ReadingLines(report) + ClockLines(report))
        .join(u'\n');
}

QString ReportAsCsv(const SiteReport& report)
{
    QStringList head{u"day"_s, u"global_id"_s, u"uin"_s, u"model"_s, u"due"_s, u"read"_s, u"late"_s, u"by_deadline"_s,
        u"perhaps_by_deadline"_s};
    for (size_t i = 0; i < GapKinds; ++i)
        head.append(LedgerWords::KeyOf(static_cast<Gap>(i)));
    QStringList lines{head.join(u',')};
    for (const DayCounts& day : report.days)
        for (qsizetype place = 0; place < day.meters.size(); ++place) {
            const ReadingCounts& counts = day.meters[place];
            const LedgerMeter& meter = report.meters[place];
            if (counts.due == 0)
                continue;
            QStringList line{
                DateText(day.day), QString::number(meter.globalId), CsvText(meter.uin), CsvText(meter.model)};
            for (const int count : {counts.due, counts.read, counts.late, counts.byDeadline, counts.perhapsByDeadline})
                line.append(QString::number(count));
            for (const int gap : counts.gaps)
                line.append(QString::number(gap));
            lines.append(line.join(u','));
        }
    return lines.join(u'\n');
}

QString ReportAsJson(const SiteReport& report)
{
    return QString::fromUtf8(QJsonDocument(ReportObject(report, WallText)).toJson()).trimmed();
}
