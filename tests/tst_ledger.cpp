// Stories of rows, and what the ledger finds in them.

#include "completeness.h"

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
        QTest::addRow("not over yet") << QStringList{u"08:00"_s, u"09:00"_s}
                                      << QStringList{u"2024-03-04 08:00:20 1 10 11"_s, u"2024-03-04 09:00:20 1"_s}
                                      << day << u"2024-03-04 09:05:00"_s
                                      << QStringList{u"1/1"_s, u"1/1/0/1+0"_s, u"1/1/0/1+0"_s, u"1/1/0/1+0"_s};
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

    /// A meter is expected from its first row on, one that left the register only where it has rows.
    void newAndRemovedMeters()
    {
        SweepOutcomes outcomes(Site, {1}, Every({u"08:00"_s, u"09:00"_s, u"10:00"_s}), WallZone(QTimeZone("UTC")));
        Completeness completeness(6 * 60);
        const QList<SweepOutcome> all = OutcomesOf(outcomes,
            {u"2024-03-04 08:00:20 1 7:3"_s, u"2024-03-04 09:00:20 1 10"_s, u"2024-03-04 10:00:20 1"_s},
            u"2024-03-04"_s, u"2024-03-04"_s);
        for (const SweepOutcome& outcome : all)
            completeness.Add(outcome, outcomes.Meters());
        QStringList texts;
        for (const ReadingCounts& meter : completeness.Days().value(0).meters)
            texts.append(Text(meter));
        QCOMPARE(texts, (QStringList{u"3/3/0/2+1"_s, u"2/1/0/1+0 8:1"_s, u"0/0/0/0+0"_s, u"1/0/0/0+0 3:1"_s}));
    }
};

QTEST_GUILESS_MAIN(tst_Ledger)
#include "tst_ledger.moc"
