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

Site With(int Site::*field, int value, Site site = Usual)
{
    site.*field = value;
    return site;
}

QString Ms(std::optional<qint64> ms)
{
    return ms ? QString::number(*ms) : u"no end"_s;
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

QString Text(const std::optional<Calendar::Gap>& gap)
{
    return gap ? gap->start.toString(u"MM-dd hh:mm"_s) + gap->end.toString(u" MM-dd hh:mm"_s) : QString();
}

} // namespace

class tst_AirtimePlan : public QObject {
    Q_OBJECT

private slots:
    void lengths();
    void nodesThatFit();
    void siteWithoutCE301();
    void nextMinutes();
    void tightestGaps();
};

void tst_AirtimePlan::lengths()
{
    const auto check = [](const Site& site, const QString& bestAndWorst) {
        QCOMPARE((QStringList{Ms(QuerySweepMs(site, Case::Best)), Ms(QuerySweepMs(site, Case::Worst)),
                      Ms(TimeSweepMs(site, Case::Best)), Ms(TimeSweepMs(site, Case::Worst))})
                     .join(u", "_s),
            bestAndWorst);
    };
    check(Usual, u"172600, 1761600, 153000, 1553000"_s);
    check(With(&Site::substationMs, 0), u"310000, 1710000, 153000, 1553000"_s); // only the pauses
    check(With(&Site::nodes, 0), u"52600, 241600, 0, 0"_s);
    check(With(&Site::passes, 0), u"172600, 361600, 0, 0"_s);
    check(With(&Site::passes, 127), u"172600, 35921600, 153000, 35713000"_s); // as many as are counted
    check(With(&Site::passes, 128), u"172600, no end, 153000, no end"_s);
    check(With(&Site::passes, 128, With(&Site::neverHeard, 1)), u"no end, no end, no end, no end"_s);
    check({.nodes = 10000, .substationMs = 1000, .broadcastMs = 65535, .unicastMs = 65535, .passes = 127},
        u"655507070, 167125905015, 670415535, 167140813480"_s); // beyond 32 bits
}

void tst_AirtimePlan::nodesThatFit()
{
    const auto most = [](const Site& site, Case answers, qint64 availableMs) {
        return AirtimePlan::NodesThatFit(
            site, availableMs, [answers](const Site& other) { return QuerySweepMs(other, answers); });
    };
    QCOMPARE(most(Usual, Case::Worst, 881600), 4);
    QCOMPARE(most(Usual, Case::Worst, 881599), 3);
    QCOMPARE(most(With(&Site::neverHeard, 3), Case::Best, 900000), 16); // of these, too, a quarter
    QCOMPARE(most(With(&Site::passes, 128), Case::Worst, 900000), 0);
    QCOMPARE(most(With(&Site::unicastMs, 0), Case::Best, 900000), 100000);
}

void tst_AirtimePlan::siteWithoutCE301()
{
    RegisterRow substation;
    substation.model = u"SET3"_s;
    substation.type = u"1"_s;
    const Site site = AirtimePlan::SiteOf({}, {substation, RegisterRow()});
    QCOMPARE(site.substationMs, 1000);
    QCOMPARE(site.nodes, 1);
    QCOMPARE(AirtimePlan::ClockSettingMs(site), 0); // by one broadcast
}

void tst_AirtimePlan::nextMinutes()
{
    const auto check = [](const QString& pattern, const QString& from, const QString& expected) {
        QStringList minutes;
        for (const QDateTime& time :
            Calendar(Schedule(pattern, u":"_s, u":"_s)).Next(QuerySweep, Utc(from).addSecs(59), 2))
            minutes.append(time.toString(u"MM-dd hh:mm"_s));
        QCOMPARE(minutes.join(u", "_s), expected);
    };
    check(u":[30]0$"_s, u"2014-03-04 08:30"_s, u"03-04 08:30, 03-04 09:00"_s); // the minute itself, then the next
    check(u"^31 12:00"_s, u"2014-01-31 12:01"_s, u"03-31 12:00, 05-31 12:00"_s); // a day that some months lack
    check(u"12 0"_s, u"2014-03-11 23:59"_s, u"03-12 00:00, 03-12 00:01"_s); // unanchored: also the 12th
    check(u"("_s, u"2014-03-04 08:30"_s, {});
}

void tst_AirtimePlan::tightestGaps()
{
    const auto gaps =
        Calendar(Schedule(u":[30]0$"_s, u"00:00$"_s, u"00:15$"_s)).TightestGaps(Utc(u"2014-03-04 08:29"_s));
    QCOMPARE(Text(gaps[QuerySweep]), u"03-04 08:30 03-04 09:00"_s);
    QCOMPARE(Text(gaps[TimeSweep]), u"03-05 00:15 03-05 00:30"_s);
    QCOMPARE(Text(gaps[ClockSetting | QuerySweep]), u"03-05 00:00 03-05 00:15"_s);
    QCOMPARE(Text(gaps[ClockSetting]), QString()); // never alone

    // Only in the second month do two of them come close.
    const Calendar monthly(Schedule(u"^(31 06:00|09 12:00)"_s, u"x"_s, u"^31 06:40"_s));
    QCOMPARE(Text(monthly.TightestGaps(Utc(u"2014-02-01 00:00"_s))[QuerySweep]), u"03-31 06:00 03-31 06:40"_s);
}

QTEST_APPLESS_MAIN(tst_AirtimePlan)
#include "tst_airtimeplan.moc"
