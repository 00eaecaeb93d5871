// Stories of rows, and what the ledger finds in them.

#include "completeness.h"
#include "incidents.h"
#include "meterclocks.h"
#include "plausibility.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QList<LedgerMeter> Site{
    {.globalId = 1, .uin = u"KTP"_s, .number = {}, .model = u"CE301"_s, .isSubstation = true, .clockTellsDate = false},
    {.globalId = 10, .uin = u"A"_s, .number = {}, .model = u"SET3"_s},
    {.globalId = 11, .uin = u"B"_s, .number = {}, .model = u"SET1"_s},
};

const QSet<qint32> AllKnown{1, 10, 11};

QDateTime At(const QString& text)
{
    QDateTime time = QDateTime::fromString(text, u"yyyy-MM-dd hh:mm:ss"_s);
    time.setTimeSpec(Qt::UTC);
    return time;
}

MonthPlan Every(const QStringList& times)
{
    MonthPlan plan;
    for (const QString& time : times)
        for (int day = 1; day <= 31; ++day)
            plan.set(MinuteOfMonth(QDate(2024, 1, day), QTime::fromString(time, u"hh:mm"_s)));
    return plan;
}

ReadingRow Read(qint32 globalId, double total = 5)
{
    return {.globalId = globalId, .status = 0, .energy = {total, total, 0, 0, 0}};
}

/// Rows "id" or "id:status" behind a stamp: "2024-03-04 08:30:07 1 10 11:255".
QMap<QDate, StoredDay> Rows(const QStringList& sweeps)
{
    QMap<QDate, StoredDay> days;
    for (const QString& sweep : sweeps) {
        StoredSweep stored{At(sweep.left(19)), {}};
        for (const QString& row : sweep.mid(20).split(u' ', Qt::SkipEmptyParts)) {
            const QStringList parts = row.split(u':');
            stored.rows.append(
                parts.size() == 1 ? Read(parts[0].toInt()) : ReadingRow{parts[0].toInt(), parts[1].toInt(), {}});
        }
        days[stored.stamp.date()].append(stored);
    }
    return days;
}

QList<SweepOutcome> OutcomesOf(SweepOutcomes& outcomes, const QStringList& sweeps, const QString& from,
    const QString& to, const QString& now = u"2100-01-01 00:00:00"_s)
{
    const auto days = Rows(sweeps);
    const QDate last = QDate::fromString(to, Qt::ISODate);
    QList<SweepOutcome> all;
    for (QDate day = QDate::fromString(from, Qt::ISODate); day <= last; day = day.addDays(1))
        all += outcomes.AddDay(day, days.value(day), At(now));
    return all;
}

/// "due/read/late/by deadline+perhaps" and the gaps by their places in the enumeration: "4/2/1/1+0 3:1 9:1".
QString Text(const ReadingCounts& counts)
{
    QString text = u"%1/%2/%3/%4+%5"_s.arg(counts.due)
                       .arg(counts.read)
                       .arg(counts.late)
                       .arg(counts.byDeadline)
                       .arg(counts.perhapsByDeadline);
    for (size_t i = 0; i < GapKinds; ++i)
        if (counts.gaps[i] > 0)
            text += u" %1:%2"_s.arg(i).arg(counts.gaps[i]);
    return text;
}

/// A day of hourly readings of node meter 10 that begins with `first`, where 11 uses 1 kWh an hour.
StoredDay Hourly(QDate day, double first, double perHour, const QMap<int, double>& instead = {})
{
    StoredDay sweeps;
    for (int hour = 0; hour < 24; ++hour) {
        const double days = static_cast<double>(QDate(2024, 3, 1).daysTo(day));
        const double total = instead.value(hour, first + hour * perHour);
        sweeps.append({WallTime(day, QTime(hour, 0, 9)), {Read(11, 500 + 24 * days + hour)}});
        sweeps.last().rows.append(total < 0 ? ReadingRow{10, 255, {}} : Read(10, total));
    }
    return sweeps;
}

QString Text(const ReadingFinding& finding)
{
    constexpr auto Format = "dd hh";
    return u"%1 of %2, %3 to %4: %5 %6 x%7%8"_s.arg(static_cast<int>(finding.kind))
        .arg(finding.place)
        .arg(finding.since.toString(QLatin1StringView(Format)), finding.until.toString(QLatin1StringView(Format)))
        .arg(finding.before)
        .arg(finding.value)
        .arg(finding.times)
        .arg(finding.isConfirmed ? u""_s : u"?"_s);
}

} // namespace

class tst_Ledger : public QObject {
    Q_OBJECT

private slots:
    void wallTime_data()
    {
        QTest::addColumn<QString>("wall");
        QTest::addColumn<int>("times");
        QTest::addColumn<QString>("moment");
        QTest::addRow("winter") << u"2024-03-30 12:00:00"_s << 1 << u"2024-03-30 11:00:00"_s;
        QTest::addRow("the last second before spring") << u"2024-03-31 01:59:59"_s << 1 << u"2024-03-31 00:59:59"_s;
        QTest::addRow("left out") << u"2024-03-31 02:30:00"_s << 0 << QString();
        QTest::addRow("the first second after it") << u"2024-03-31 03:00:00"_s << 1 << u"2024-03-31 01:00:00"_s;
        QTest::addRow("comes twice") << u"2024-10-27 02:00:00"_s << 2 << QString();
        QTest::addRow("twice, its last second") << u"2024-10-27 02:59:59"_s << 2 << QString();
        QTest::addRow("after it") << u"2024-10-27 03:00:00"_s << 1 << u"2024-10-27 02:00:00"_s;
    }
    void wallTime()
    {
        QFETCH(QString, wall);
        const WallZone berlin(QTimeZone("Europe/Berlin"));
        QTEST(berlin.TimesOf(At(wall)), "times");
        const std::optional<qint64> moment = berlin.MomentOf(At(wall));
        QTEST(moment ? QDateTime::fromSecsSinceEpoch(*moment, Qt::UTC).toString(u"yyyy-MM-dd hh:mm:ss"_s) : QString(),
            "moment");
    }

    void completeness_data()
    {
        QTest::addColumn<QStringList>("due");
        QTest::addColumn<QStringList>("sweeps");
        QTest::addColumn<QString>("day");
        QTest::addColumn<QString>("now");
        QTest::addColumn<QStringList>("counts"); // sweeps due/made, then of each meter
        const QString day = u"2024-03-04"_s;
        const QString later = u"2024-03-06 00:00:00"_s;
        const QString next = u"2024-03-05 00:00:09 1 10 11"_s;
        QTest::addRow("every reason") << QStringList{u"00:00"_s, u"08:00"_s, u"09:00"_s, u"10:00"_s, u"11:00"_s}
                                      << QStringList{u"2024-03-04 00:00:20 1 10 11"_s,
                                             u"2024-03-04 08:00:20 1:1 10:1 11:2"_s,
                                             u"2024-03-04 09:00:03 1 10:3 11:255"_s, u"2024-03-04 10:00:03 1 11:7"_s,
                                             next, u"2024-03-05 08:00:02 1 10 11"_s}
                                      << day << later
                                      << QStringList{u"5/4"_s, u"5/3/0/3+0 1:1 9:1"_s, u"5/1/0/1+0 0:1 3:1 8:1 9:1"_s,
                                             u"5/1/0/1+0 2:1 4:1 5:1 9:1"_s};
        QTest::addRow("late: silence and a reading under one stamp")
            << QStringList{u"08:00"_s} << QStringList{u"2024-03-04 08:00:20 1 10:255 10 11:255 11:255"_s} << day
            << later << QStringList{u"1/1"_s, u"1/1/0/0+1"_s, u"1/1/1/0+1"_s, u"1/0/0/0+0 4:1"_s};
        QTest::addRow("swept twice for one minute: not late")
            << QStringList{u"08:00"_s}
            << QStringList{u"2024-03-04 08:00:04 1 10:255 11:3"_s, u"2024-03-04 08:00:31 1 10 11:255"_s} << day << later
            << QStringList{u"1/1"_s, u"1/1/0/0+1"_s, u"1/1/0/0+1"_s, u"1/0/0/0+0 4:1"_s};
        QTest::addRow("began late, after midnight, and by command before anything was due")
            << QStringList{u"03:00"_s, u"23:30"_s}
            << QStringList{u"2024-03-04 02:10:00 1 10 11"_s, u"2024-03-04 03:00:00 1 10 11"_s,
                   u"2024-03-05 00:12:00 1 10 11"_s, u"2024-03-05 03:00:01 1 10 11"_s}
            << day << later << QStringList{u"2/2"_s, u"2/2/0/2+0"_s, u"2/2/0/2+0"_s, u"2/2/0/2+0"_s};
        QTest::addRow("too late to count for it")
            << QStringList{u"03:00"_s} << QStringList{u"2024-03-04 09:00:00 1 10 11"_s} << day << later
            << QStringList{u"1/0"_s, u"1/0/0/0+0 9:1"_s, u"1/0/0/0+0 9:1"_s, u"1/0/0/0+0 9:1"_s};
        QTest::addRow("the deadline: a late reading needs two more sweeps")
            << QStringList{u"00:00"_s, u"05:59"_s, u"06:00"_s}
            << QStringList{u"2024-03-04 06:00:20 1 10:3 10 11"_s, u"2024-03-05 00:00:20 1 10 11"_s,
                   u"2024-03-05 06:00:01 1 10 11"_s}
            << day << later << QStringList{u"3/1"_s, u"3/1/0/1+0 9:2"_s, u"3/1/1/0+1 9:2"_s, u"3/1/0/1+0 9:2"_s};
        QTest::addRow("the deadline: two more sweeps by then")
            << QStringList{u"00:00"_s, u"05:59"_s, u"06:00"_s}
            << QStringList{u"2024-03-04 06:00:20 1 10:3 10 11"_s, u"2024-03-05 00:00:20 1 10 11"_s,
                   u"2024-03-05 05:59:20 1"_s}
            << day << later << QStringList{u"3/1"_s, u"3/1/0/1+0 9:2"_s, u"3/1/1/1+0 9:2"_s, u"3/1/0/1+0 9:2"_s};
        QTest::addRow("not over yet") << QStringList{u"08:00"_s, u"09:00"_s}
                                      << QStringList{u"2024-03-04 08:00:20 1 10 11"_s, u"2024-03-04 09:00:20 1"_s}
                                      << day << u"2024-03-04 09:05:00"_s
                                      << QStringList{u"1/1"_s, u"1/1/0/0+1"_s, u"1/1/0/0+1"_s, u"1/1/0/0+1"_s};
        QTest::addRow("zeros are a reading until the meter has had one")
            << QStringList{u"08:00"_s, u"09:00"_s}
            << QStringList{u"2024-03-04 08:00:20 1 10 11:0"_s, u"2024-03-04 09:00:20 1 10:0 11:0"_s} << day << later
            << QStringList{u"2/2"_s, u"2/2/0/1+1"_s, u"2/1/0/1+0 6:1"_s, u"2/2/0/1+1"_s};
        QTest::addRow("spring: the hour that is left out has none")
            << QStringList{u"01:30"_s, u"02:30"_s, u"03:30"_s}
            << QStringList{u"2024-03-31 01:30:00 1 10 11"_s, u"2024-03-31 03:30:00 1 10 11"_s} << u"2024-03-31"_s
            << u"2024-04-06 00:00:00"_s << QStringList{u"2/2"_s, u"2/2/0/1+1"_s, u"2/2/0/1+1"_s, u"2/2/0/1+1"_s};
        QTest::addRow("autumn: twice, once under equal stamps")
            << QStringList{u"01:30"_s, u"02:00"_s, u"02:30"_s}
            << QStringList{u"2024-10-27 02:00:07 1 1 10 10 11 11:255"_s, u"2024-10-27 02:30:07 1 10 11:3"_s,
                   u"2024-10-27 02:30:21 1 10 11"_s}
            << u"2024-10-27"_s << u"2024-11-06 00:00:00"_s
            << QStringList{u"5/4"_s, u"5/4/0/2+2 9:1"_s, u"5/4/0/2+2 9:1"_s, u"5/2/0/1+1 3:1 4:1 9:1"_s};
    }
    void completeness()
    {
        QFETCH(QStringList, due);
        QFETCH(QStringList, sweeps);
        QFETCH(QString, day);
        QFETCH(QString, now);
        SweepOutcomes outcomes(Site, AllKnown, Every(due), WallZone(QTimeZone("Europe/Berlin")));
        Completeness completeness(6 * 60);
        const QString next = QDate::fromString(day, Qt::ISODate).addDays(1).toString(Qt::ISODate);
        const QList<SweepOutcome> all = OutcomesOf(outcomes, sweeps, day, next, now);
        for (const SweepOutcome& outcome : all)
            completeness.Add(outcome, outcomes.Meters());
        const DayCounts counts = completeness.Days().value(0);
        QStringList texts{u"%1/%2"_s.arg(counts.sweepsDue).arg(counts.sweepsMade)};
        for (const ReadingCounts& meter : counts.meters)
            texts.append(Text(meter));
        QTEST(texts, "counts");
    }

    void percent()
    {
        QCOMPARE(Percent(9999, 10000), 99.9); // 100 means all
        QCOMPARE(Percent(1, 3), 33.3);
        QCOMPARE(Percent(0, 0), 100.0);
    }

    /// A meter is expected from its first row on, one that left the register only where it has rows.
    void newAndRemovedMeters()
    {
        SweepOutcomes outcomes(
            Site, {}, Every({u"07:00"_s, u"08:00"_s, u"09:00"_s, u"10:00"_s}), WallZone(QTimeZone("UTC")));
        Completeness completeness(6 * 60);
        const QList<SweepOutcome> all = OutcomesOf(outcomes,
            {u"2024-03-04 08:00:20 1 7:3"_s, u"2024-03-04 09:00:20 1 10"_s, u"2024-03-04 10:00:20 1"_s},
            u"2024-03-04"_s, u"2024-03-04"_s);
        for (const SweepOutcome& outcome : all)
            completeness.Add(outcome, outcomes.Meters());
        QStringList texts;
        for (const ReadingCounts& meter : completeness.Days().value(0).meters)
            texts.append(Text(meter));
        QCOMPARE(completeness.Days().value(0).sweepsDue, 3); // none before the first row
        QCOMPARE(texts, (QStringList{u"3/3/0/2+1"_s, u"2/1/0/1+0 8:1"_s, u"0/0/0/0+0"_s, u"1/0/0/0+0 3:1"_s}));
    }

    void plausibility_data()
    {
        using Days = QList<StoredDay>;
        QTest::addColumn<Days>("days");
        QTest::addColumn<QStringList>("findings");
        const QDate first(2024, 3, 1);
        const auto even = [first](int count, double perHour, double start = 1000) {
            Days days;
            for (int i = 0; i < count; ++i)
                days.append(Hourly(first.addDays(i), start + 24 * i * perHour, perHour));
            return days;
        };
        const auto then = [first](Days days, double start, double perHour, const QMap<int, double>& instead = {}) {
            days.append(Hourly(first.addDays(days.size()), start, perHour, instead));
            return days;
        };
        QTest::addRow("nothing") << even(20, 1) << QStringList{};
        QTest::addRow("exchanged") << then(even(1, 1), 3, 1) << QStringList{u"0 of 1, 02 00 to 02 00: 1023 3 x1"_s};
        QTest::addRow("a step back that rounding explains")
            << then({}, 123456, 0, {{7, 123455}, {8, 123456}}) << QStringList{};
        QTest::addRow("a step back beyond it, at the very end")
            << then({}, 123456, 0, {{23, 123454}}) << QStringList{u"0 of 1, 01 23 to 01 23: 123456 123454 x1?"_s};
        QTest::addRow("one reading out of line, below and above")
            << then({}, 1000, 1, {{5, 900}, {9, 5000}})
            << QStringList{u"2 of 1, 01 05 to 01 05: 1004 900 x1"_s, u"2 of 1, 01 09 to 01 09: 1008 5000 x1"_s};
        QTest::addRow("a jump that stays")
            << then(then({}, 1000, 1), 1124.1, 1) << QStringList{u"1 of 1, 02 00 to 02 00: 1023 1124.1 x1"_s};
        QTest::addRow("the same over a silence is none")
            << then(then({}, 1000, 1, {{22, -1}, {23, -1}}), 1124.1, 1) << QStringList{};
        QTest::addRow("a day unlike the others, up")
            << then(then(even(8, 1), 1192, 4), 1288, 1) << QStringList{u"3 of 1, 09 00 to 10 00: 24 96 x1"_s};
        QTest::addRow("too few days to tell") << then(then(even(6, 1), 1144, 4), 1240, 1) << QStringList{};
        QTest::addRow("standstill") << even(8, 0) << QStringList{u"4 of 1, 01 00 to 08 23: 1000 1000 x1"_s};
        QTest::addRow("not yet a standstill") << even(7, 0) << QStringList{};
        QTest::addRow("stuck while the other moves")
            << then(then(even(8, 1), 1191, 0), 1191, 0) << QStringList{u"5 of 1, 08 23 to 10 23: 1191 1191 x1"_s};
        QMap<int, double> from5;
        for (int hour = 5; hour < 24; ++hour)
            from5.insert(hour, 1196);
        QTest::addRow("stuck from 04:00 on, and then all of it at once: no unusual days beside it")
            << then(then(then(then(even(8, 1), 1192, 1, from5), 1196, 0), 1240, 1), 1264, 1)
            << QStringList{u"5 of 1, 09 04 to 10 23: 1196 1196 x1"_s};
        QTest::addRow("rows of silence and of zeros") << then({}, 1000, 1, {{3, -1}, {4, 0}}) << QStringList{};
    }
    void plausibility()
    {
        QFETCH(QList<StoredDay>, days);
        Plausibility plausibility({}, WallZone(QTimeZone("UTC")));
        MeterList meters(Site);
        for (const StoredDay& day : days)
            plausibility.AddDay(day, meters);
        QStringList texts;
        for (const ReadingFinding& finding : plausibility.Findings())
            texts.append(Text(finding));
        QTEST(texts, "findings");
    }

    void tariffSums_data()
    {
        QTest::addColumn<QList<double>>("energy");
        QTest::addColumn<bool>("hasTariffs");
        QTest::addColumn<bool>("isFound");
        QTest::addRow("right") << QList<double>{100.5, 40.25, 60.25, 0, 0} << true << false;
        QTest::addRow("rounded to six digits") << QList<double>{123457, 61728.4, 61728.4, 0, 0} << true << false;
        QTest::addRow("a hundredth for each") << QList<double>{100.04, 25, 25, 25, 25} << true << false;
        QTest::addRow("wrong") << QList<double>{100.5, 40.25, 60, 0, 0} << true << true;
        QTest::addRow("a model without tariffs") << QList<double>{100.5, 0, 0, 0, 0} << false << false;
    }
    void tariffSums()
    {
        QFETCH(QList<double>, energy);
        QFETCH(bool, hasTariffs);
        ReadingRow row{10, 0, {}};
        std::copy(energy.begin(), energy.end(), row.energy.begin());
        QList<LedgerMeter> site = Site;
        site[1].hasTariffs = hasTariffs;
        MeterList meters(site);
        Plausibility plausibility({}, WallZone(QTimeZone("UTC")));
        plausibility.AddDay({{At(u"2024-03-04 08:00:00"_s), {row}}}, meters);
        QTEST(!plausibility.Findings().isEmpty(), "isFound");
    }

    /// Of the two readings of 02:30 nothing tells which came first; from 01:59 to 03:00 it is two hours.
    void plausibleInAutumn()
    {
        MeterList meters(Site);
        Plausibility plausibility({.nodeKw = 10}, WallZone(QTimeZone("Europe/Berlin")));
        const auto sweep = [](const QString& time, double total) {
            return StoredSweep{At(u"2024-10-27 "_s + time), {Read(10, total)}};
        };
        plausibility.AddDay({sweep(u"01:59:00"_s, 100), sweep(u"02:30:01"_s, 115), sweep(u"02:30:02"_s, 105),
                                sweep(u"03:00:00"_s, 120)},
            meters);
        QVERIFY(plausibility.Findings().isEmpty());
    }

    void changedNumbers()
    {
        QList<LedgerMeter> before = Site;
        before[1].number = u"77"_s;
        before.removeLast();
        const QList<ReadingFinding> found = ChangedNumbers(before, Site, At(u"2024-03-04 08:00:00"_s));
        QCOMPARE(found.size(), 1);
        QCOMPARE(found[0].place, 1);
        QCOMPARE(found[0].numberBefore, u"77"_s);
    }

    void clocks_data()
    {
        QTest::addColumn<QStringList>("rows"); // "uin|date shown|time shown|date asked|time asked"
        QTest::addColumn<QString>("found"); // readings/unreadable, offset, drift, of the meter 10
        const auto daily = [](const QList<double>& offsets, const QString& uin = u"A"_s) {
            QStringList rows;
            for (qsizetype day = 0; day < offsets.size(); ++day) {
                const QDateTime asked = At(u"2024-03-01 00:15:00"_s).addDays(day);
                const QDateTime shown = asked.addMSecs(static_cast<qint64>(1000 * offsets[day]));
                rows.append(
                    uin + shown.toString(u"|yyyy-MM-dd|hh:mm:ss"_s) + asked.toString(u"|yyyy-MM-dd|hh:mm:ss"_s));
            }
            return rows;
        };
        QTest::addRow("none") << daily({1, 2}, u"?"_s) << u"0/0"_s;
        QTest::addRow("right") << daily({1, 1, 1, 1}) << u"4/0 +1 drift +0.00"_s;
        QTest::addRow("at both limits") << daily({3, 4, 4, 5, 5}) << u"5/0 +5 drift +0.50"_s;
        QTest::addRow("beyond both, slow") << daily({-3, -4, -5, -6}) << u"4/0 -6 off drift -1.00 drifts"_s;
        QTest::addRow("set in between") << daily({30, 32, 34, 0, 2, 4}) << u"6/0 +4 drift +2.00 drifts"_s;
        QTest::addRow("too few to tell a drift") << daily({1, 3}) << u"2/0 +3 no drift"_s;
        QTest::addRow("a day off") << daily({86400}) << u"1/0 +86400 off no drift"_s;
        QTest::addRow("this computer was slow that day") << QStringList{u"A|2024-03-01|00:15:00|2024-03-01|00:15:10"_s,
            u"KTP|2024-03-01|00:15:00|2024-03-01|00:15:08"_s}
                                                         << u"1/0 -18 off no drift by reference"_s;
        QTest::addRow("no times at all") << QStringList{u"A|||2024-03-01|00:15:10"_s,
            u"A|2024-03-01|12:60:00|2024-03-01|00:15:10"_s, u"A|2024-03-01|\u001b[2J'\"|2024-03-01|00:15:10"_s,
            u"A|2024-03-01|00:15:00||"_s} << u"0/4"_s;
    }
    void clocks()
    {
        QFETCH(QStringList, rows);
        QList<ClockRow> clockRows;
        for (const QString& row : rows) {
            const QStringList parts = row.split(u'|');
            clockRows.append({parts[0], parts[1], parts[2], parts[3], parts[4]});
        }
        const QList<MeterClock> clocks = MeterClocks(Site, clockRows, {});
        QCOMPARE(clocks.size(), 2); // the substation meter's is not read
        const MeterClock& clock = clocks[0];
        QString text = u"%1/%2"_s.arg(clock.readings).arg(clock.unreadable);
        if (clock.IsKnown())
            text +=
                u" %1%2%3%4"_s.arg(clock.offset > 0 ? u"+"_s : QString())
                    .arg(clock.offset)
                    .arg(clock.isOff ? u" off"_s : QString(),
                        clock.drift
                            ? u" drift %1%2"_s.arg(*clock.drift < 0 ? QString() : u"+"_s).arg(*clock.drift, 0, 'f', 2)
                            : u" no drift"_s)
                + (clock.drifts ? u" drifts"_s : QString()) + (clock.isReferenced ? u" by reference"_s : QString());
        QTEST(text, "found");
    }

    /// A CE301 tells no date: the collector's stands there, of the day on which the answer came.
    void clockOfTimeOfDay()
    {
        QList<LedgerMeter> site = Site;
        site[1].clockTellsDate = false;
        const QList<MeterClock> clocks =
            MeterClocks(site, {{u"A"_s, u"2024-03-02"_s, u"23:59:50"_s, u"2024-03-01"_s, u"23:59:58"_s}}, {});
        QCOMPARE(clocks[0].offset, -8);
    }

    void incidents_data()
    {
        // A line for each meter, the substation's first, a letter for each hourly sweep: "." read, "x" silent, " " no
        // row.
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QStringList>("found");
        const QString well(12, u'.');
        QTest::addRow("nothing worth telling")
            << QStringList{u"x...xx......"_s, u"x..x.....xx."_s, well, u".....x......"_s} << QStringList{};
        QTest::addRow("no rows, and the sweep before not finished") << QStringList{u"....    ...."_s, u"....    ...."_s,
            u"...     ...."_s, u"...     ...."_s} << QStringList{u"0 03..08 x1/5"_s};
        QTest::addRow("every second sweep left out")
            << QStringList(4, u". . . . . . "_s) << QStringList{u"1 01.. x6/6"_s};
        QTest::addRow("three times no rows, once for long")
            << QStringList(4, u". .   . ...."_s) << QStringList{u"0 01..08 x3/5"_s};
        QTest::addRow("modem deaf; it fails in the middle of a sweep and comes back in one") << QStringList{
            well, u"....xxxx...."_s, u"...xxxxx...."_s, u"....xxxxx..."_s} << QStringList{u"3 04..08 x1/4: 1 2 3"_s};
        QTest::addRow("modem deaf, and one node for longer") << QStringList{well, u"..xx........"_s, u"..xx........"_s,
            u"xxxxxxx....."_s} << QStringList{u"6 00-..07 x1/5: 3"_s, u"3 02..04 x1/2: 1 2 3"_s};
        QTest::addRow("substation meter, until now")
            << QStringList{u".........xxx"_s, well, well, well} << QStringList{u"4 09.. x1/3: 0"_s};
        QTest::addRow("nobody answers") << QStringList(4, u"...xxx......"_s) << QStringList{u"2 03..06 x1/3"_s};
        QTest::addRow("nobody answers; it began and ended between substation meter and nodes")
            << QStringList{u"....xxx....."_s, u"...xxx......"_s, u"...xxx......"_s, u"...xxx......"_s}
            << QStringList{u"2 03..06 x1/3"_s};
        QTest::addRow("a group again and again, one of it longer once")
            << QStringList{well, u".x..x..xx..."_s, u".x..x..x...."_s, well} << QStringList{u"5 01..09 x3/4: 1 2"_s};
        QTest::addRow("a group with short silences of their own")
            << QStringList{well, u"xx..xx.xx..x"_s, u"xx..xx.xx.x."_s, well} << QStringList{u"5 00-..09 x3/6: 1 2"_s};
        QTest::addRow("a group, once") << QStringList{well, u".xxxx......."_s, u".xxxx......."_s, well}
                                       << QStringList{u"5 01..05 x1/4: 1 2"_s};
        QTest::addRow("two nodes at different times") << QStringList{well, u".xxxx......."_s, u"..xxxx......"_s, well}
                                                      << QStringList{u"6 01..05 x1/4: 1"_s, u"6 02..06 x1/4: 2"_s};
        QTest::addRow("a node that comes and goes")
            << QStringList{well, u"x.x.x.x.x..."_s, well, well} << QStringList{u"6 00-..09 x5/5: 1"_s};
    }
    void incidents()
    {
        QFETCH(QStringList, lines);
        QList<LedgerMeter> site = Site;
        site.append({.globalId = 12, .uin = u"C"_s, .number = {}, .model = {}});
        site.append({.globalId = 13, .uin = u"D"_s, .number = {}, .model = u"CE102"_s, .answersStored = false});
        QStringList sweeps;
        QStringList hours;
        for (int hour = 0; hour < 12; ++hour) {
            const QString clock = u"%1"_s.arg(hour, 2, 10, QLatin1Char('0'));
            hours.append(clock + u":00"_s);
            QString rows;
            for (qsizetype place = 0; place < lines.size(); ++place)
                if (const QChar what = lines[place][hour]; what != u' ')
                    rows += u" %1%2"_s.arg(site[place].globalId).arg(what == u'x' ? u":255"_s : QString());
            if (!rows.isEmpty())
                sweeps.append(u"2024-03-04 "_s + clock + u":00:05"_s + rows + u" 13:2"_s);
        }
        SweepOutcomes outcomes(site, {1, 10, 11, 12, 13}, Every(hours), WallZone(QTimeZone("UTC")));
        Incidents incidents;
        for (const SweepOutcome& outcome :
            OutcomesOf(outcomes, sweeps, u"2024-03-04"_s, u"2024-03-04"_s, u"2024-03-04 18:00:00"_s))
            incidents.Add(outcome, outcomes.Meters());
        QStringList texts;
        for (const Incident& incident : incidents.Findings()) {
            QString text = u"%1 %2%3..%4 x%5/%6"_s.arg(static_cast<int>(incident.kind))
                               .arg(incident.since.toString(u"hh"_s), incident.beganBefore ? u"-"_s : QString(),
                                   incident.until.toString(u"hh"_s))
                               .arg(incident.times)
                               .arg(incident.sweeps);
            for (const qsizetype place : incident.places)
                text += (place == incident.places.first() ? u": "_s : u" "_s) + QString::number(place);
            texts.append(text);
        }
        QTEST(texts, "found");
    }
};

QTEST_GUILESS_MAIN(tst_Ledger)
#include "tst_ledger.moc"
