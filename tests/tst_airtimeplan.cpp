#include "airtimeplan.h"
#include "calendar.h"

#include <QTest>

using namespace Qt::StringLiterals;
using AirtimePlan::Case;
using AirtimePlan::Site;

namespace {

// Twelve meters behind nodes, a CE301 at the substation, the delays that hold by default.
constexpr Site Usual{
    .nodes = 12, .substationMs = 2600, .broadcastMs = 15000, .unicastMs = 10000, .substationRetries = 15, .passes = 5};

template <typename Value>
Site With(int Site::*field, Value value, Site site = Usual)
{
    site.*field = value;
    return site;
}

constexpr qint64 Never = -1;

RegisterRow Meter(const QString& model, const QString& type)
{
    RegisterRow row;
    row.model = model;
    row.type = type;
    return row;
}

SysVar Schedule(const QString& query, const QString& setTime, const QString& getTime)
{
    SysVar vars;
    vars.TimeOfQuery = query;
    vars.TimeOfSetTime = setTime;
    vars.TimeOfGetTime = getTime;
    return vars;
}

QDateTime Utc(const QString& text)
{
    QDateTime time = QDateTime::fromString(text, u"yyyy-MM-dd hh:mm"_s);
    time.setTimeSpec(Qt::UTC);
    return time;
}

QString InOneLine(const std::optional<Calendar::Gap>& gap)
{
    return gap ? gap->start.toString(u"MM-dd hh:mm"_s) + gap->end.toString(u" MM-dd hh:mm"_s) : QString();
}

} // namespace

class tst_AirtimePlan : public QObject {
    Q_OBJECT

private slots:
    void lengths_data();
    void lengths();
    void nodesThatFit_data();
    void nodesThatFit();
    void siteOf();
    void nextMinutes_data();
    void nextMinutes();
    void tightestGaps();
};

void tst_AirtimePlan::lengths_data()
{
    QTest::addColumn<Site>("site");
    QTest::addColumn<qint64>("queryBest");
    QTest::addColumn<qint64>("queryWorst");
    QTest::addColumn<qint64>("timeBest");
    QTest::addColumn<qint64>("timeWorst");

    const auto row = [](const char* name, const Site& site, qint64 queryBest, qint64 queryWorst, qint64 timeBest,
                         qint64 timeWorst) {
        QTest::addRow("%s", name) << site << queryBest << queryWorst << timeBest << timeWorst;
    };
    row("usual", Usual, 172600, 1761600, 153000, 1553000);
    row("three are never heard", With(&Site::neverHeard, 3), 672600, 1761600, 653000, 1553000);
    row("SET3 at the substation", With(&Site::substationMs, 1000), 171000, 1736000, 153000, 1553000);
    row("no substation meter: only the pauses", With(&Site::substationMs, 0), 310000, 1710000, 153000, 1553000);
    row("substation meter tried once", With(&Site::substationRetries, 0), 172600, 1572600, 153000, 1553000);
    row("no nodes", With(&Site::nodes, 0), 52600, 241600, 0, 0);
    row("no passes: no time sweep either", With(&Site::passes, 0), 172600, 361600, 0, 0);
    row("as many passes as are counted", With(&Site::passes, 127), 172600, 35921600, 153000, 35713000);
    row("more", With(&Site::passes, 128), 172600, Never, 153000, Never);
    row("more, and one is never heard", With(&Site::passes, 128, With(&Site::neverHeard, 1)), Never, Never, Never,
        Never);
    row("longest delays, many nodes",
        Site{.nodes = 10000, .substationMs = 1000, .broadcastMs = 65535, .unicastMs = 65535, .passes = 127}, 655507070,
        167125905015, 670415535, 167140813480); // beyond 32 bits
}

void tst_AirtimePlan::lengths()
{
    QFETCH(Site, site);
    QTEST(AirtimePlan::QuerySweepMs(site, Case::Best).value_or(Never), "queryBest");
    QTEST(AirtimePlan::QuerySweepMs(site, Case::Worst).value_or(Never), "queryWorst");
    QTEST(AirtimePlan::TimeSweepMs(site, Case::Best).value_or(Never), "timeBest");
    QTEST(AirtimePlan::TimeSweepMs(site, Case::Worst).value_or(Never), "timeWorst");
}

void tst_AirtimePlan::nodesThatFit_data()
{
    QTest::addColumn<Site>("site");
    QTest::addColumn<bool>("best");
    QTest::addColumn<qint64>("availableMs");
    QTest::addColumn<int>("nodes");

    QTest::addRow("at best") << Usual << true << qint64{900000} << 84;
    QTest::addRow("at worst, to the millisecond") << Usual << false << qint64{881600} << 4;
    QTest::addRow("at worst, a millisecond short") << Usual << false << qint64{881599} << 3;
    QTest::addRow("a quarter is never heard") << With(&Site::neverHeard, 3) << true << qint64{900000} << 16;
    QTest::addRow("not one") << Usual << true << qint64{62599} << 0;
    QTest::addRow("no end in sight") << With(&Site::passes, 128) << false << qint64{900000} << 0;
    QTest::addRow("no time needed") << With(&Site::unicastMs, 0) << true << qint64{900000} << 100000;
}

void tst_AirtimePlan::nodesThatFit()
{
    QFETCH(Site, site);
    QFETCH(bool, best);
    QFETCH(qint64, availableMs);
    const Case answers = best ? Case::Best : Case::Worst;
    QTEST(AirtimePlan::NodesThatFit(
              site, availableMs, [answers](const Site& other) { return AirtimePlan::QuerySweepMs(other, answers); }),
        "nodes");
}

void tst_AirtimePlan::siteOf()
{
    SysVar vars;
    vars.BCAST_to_UCAST_Delay = 1;
    vars.UCAST_to_UCAST_Delay = 2;
    vars.RepeateQueryKTPNumber = 3;
    vars.RepeatQueryNumber = 4;
    const Site site = AirtimePlan::SiteOf(vars,
        {Meter(u"SET3"_s, u"1"_s), Meter(u"CE102"_s, u"0"_s), Meter(u"SET1"_s, u"0"_s), Meter(u"CE102"_s, u"0"_s)});
    QCOMPARE(site.nodes, 3);
    QCOMPARE(site.neverHeard, 2);
    QCOMPARE(site.substationMs, 1000);
    QCOMPARE(site.broadcastMs, 1);
    QCOMPARE(site.unicastMs, 2);
    QCOMPARE(site.substationRetries, 3);
    QCOMPARE(site.passes, 4);
    QCOMPARE(AirtimePlan::ClockSettingMs(site), 0); // by one broadcast

    // The substation meter's model counts as well.
    const Site oneByOne = AirtimePlan::SiteOf(vars, {Meter(u"CE301"_s, u"1"_s), Meter(u"SET1"_s, u"0"_s)});
    QCOMPARE(oneByOne.substationMs, 2600);
    QCOMPARE(AirtimePlan::ClockSettingMs(oneByOne), 2);
}

void tst_AirtimePlan::nextMinutes_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("minutes");

    QTest::addRow("the minute itself, then the next")
        << u":[30]0$"_s << u"2014-03-04 08:30"_s << u"2014-03-04 08:30, 2014-03-04 09:00"_s;
    QTest::addRow("over the end of the month")
        << u"00:15$"_s << u"2014-02-27 00:16"_s << u"2014-02-28 00:15, 2014-03-01 00:15"_s;
    QTest::addRow("a day that some months lack")
        << u"^31 12:00"_s << u"2014-01-31 12:01"_s << u"2014-03-31 12:00, 2014-05-31 12:00"_s;
    QTest::addRow("unanchored: also the 12th")
        << u"12 0"_s << u"2014-03-11 23:59"_s << u"2014-03-12 00:00, 2014-03-12 00:01"_s;
    QTest::addRow("never") << u"^32"_s << u"2014-03-04 08:30"_s << QString();
    QTest::addRow("no pattern") << u"("_s << u"2014-03-04 08:30"_s << QString();
}

void tst_AirtimePlan::nextMinutes()
{
    QFETCH(QString, pattern);
    QFETCH(QString, from);
    const Calendar calendar(Schedule(pattern, u":"_s, u":"_s));
    QStringList minutes;
    for (const QDateTime& time : calendar.Next(QuerySweep, Utc(from).addSecs(59), 2))
        minutes.append(time.toString(u"yyyy-MM-dd hh:mm"_s));
    QTEST(minutes.join(u", "_s), "minutes");
}

void tst_AirtimePlan::tightestGaps()
{
    const Calendar calendar(Schedule(u":[30]0$"_s, u"00:00$"_s, u"00:15$"_s));
    QCOMPARE(calendar.MinutesOf(QuerySweep), 1488);
    QCOMPARE(calendar.MinutesOf(ClockSetting), 31);

    const auto gaps = calendar.TightestGaps(Utc(u"2014-03-04 08:29"_s));
    QCOMPARE(InOneLine(gaps[QuerySweep]), u"03-04 08:30 03-04 09:00"_s);
    QCOMPARE(InOneLine(gaps[TimeSweep]), u"03-05 00:15 03-05 00:30"_s);
    QCOMPARE(InOneLine(gaps[ClockSetting | QuerySweep]), u"03-05 00:00 03-05 00:15"_s);
    for (const int set : {0, 1, 3, 6, 7})
        QCOMPARE(InOneLine(gaps[static_cast<size_t>(set)]), QString());

    // Only in the next month do two of them come close.
    const Calendar monthly(Schedule(u"^(01 06:00|09 12:00)"_s, u"x"_s, u"^01 06:40"_s));
    const auto monthlyGaps = monthly.TightestGaps(Utc(u"2014-03-04 08:29"_s));
    QCOMPARE(InOneLine(monthlyGaps[QuerySweep]), u"04-01 06:00 04-01 06:40"_s);
}

QTEST_APPLESS_MAIN(tst_AirtimePlan)
#include "tst_airtimeplan.moc"
