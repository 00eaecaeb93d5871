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

} // namespace

class tst_AirtimePlan : public QObject {
    Q_OBJECT

private slots:
    void lengths()
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
        check({.nodes = 20000, .substationMs = 1000, .broadcastMs = 65535, .unicastMs = 65535, .passes = 127},
            u"1310857070, 334240155015, 1340765535, 334270063480"_s); // beyond 32 bits
    }

    void pacedByAnswers()
    {
        // Nobody silent: closed at once; the substation meter is read while the nodes' meters measure.
        const auto check = [](const Site& site, const QString& bestMeasuredWorst) {
            QStringList lengths;
            for (const Case answers : {Case::Best, Case::Measured, Case::Worst})
                lengths.append(Ms(QuerySweepMs(site, answers)) + u'/' + Ms(TimeSweepMs(site, answers)));
            QCOMPARE(lengths.join(u", "_s), bestMeasuredWorst);
        };
        Site site = With(&Site::window, 1);
        site.measuredMs = 500;
        check(site, u"19800/24600, 21000/27000, 1736600/1553000"_s);
        site.window = 8; // the line is what takes the time
        site.measuredSilent = 2;
        check(site, u"16320/17640, 265000/244500, 1736600/1553000"_s);
        QCOMPARE(AirtimePlan::MeanPauseMs({{0, 15, 1}, {0, 15, 1}, {0, 15, 2}, {0, 16}, {0, 16, 5}}, 10000), 2000);
        QCOMPARE(AirtimePlan::MeanPauseMs({{0, 15}}, 10000), 0);
    }

    void nodesThatFit()
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

    void siteWithoutCE301()
    {
        RegisterRow substation;
        substation.model = u"SET3"_s;
        substation.type = u"1"_s;
        const Site site = AirtimePlan::SiteOf({}, {substation, RegisterRow()});
        QCOMPARE(site.substationMs, 1000);
        QCOMPARE(site.nodes, 1);
        QCOMPARE(AirtimePlan::ClockSettingMs(site, Case::Best), 0); // by one broadcast
    }

    void nextMinutes()
    {
        const auto check = [](const QString& pattern, const QString& from, const QString& expected) {
            QStringList minutes;
            SysVar vars;
            vars.TimeOfQuery = pattern;
            for (const QDateTime& time : Calendar(vars).Next(QuerySweep, QDateTime::fromString(from, Qt::ISODate), 2))
                minutes.append(time.toString(u"MM-dd hh:mm"_s));
            QCOMPARE(minutes.join(u", "_s), expected);
        };
        check(
            u":[30]0$"_s, u"2014-03-04 08:30:59Z"_s, u"03-04 08:30, 03-04 09:00"_s); // the minute itself, then the next
        check(u"^31 12:00"_s, u"2014-01-31 12:01Z"_s, u"03-31 12:00, 05-31 12:00"_s); // a day that some months lack
        check(u"12 0"_s, u"2014-03-11 23:59Z"_s, u"03-12 00:00, 03-12 00:01"_s); // unanchored: also the 12th
        check(u"("_s, u"2014-03-04 08:30Z"_s, {});
    }

    void tightestGap()
    {
        // Only in the second month do they come close, twice; a setting of clocks between two of them is no sweep.
        SysVar vars;
        vars.TimeOfQuery = u"^(3. 06:00|09 12:00)"_s;
        vars.TimeOfSetTime = u"^3. 06:20"_s;
        vars.TimeOfGetTime = u"^3. 06:40"_s;
        const auto gap = Calendar(vars).TightestGaps(QDate(2014, 2, 1).startOfDay(Qt::UTC))[QuerySweep];
        QVERIFY(gap);
        QCOMPARE(gap->start, QDateTime({2014, 3, 30}, {6, 0}, Qt::UTC));
        QCOMPARE(gap->end, QDateTime({2014, 3, 30}, {6, 40}, Qt::UTC));
    }
};

QTEST_APPLESS_MAIN(tst_AirtimePlan)
#include "tst_airtimeplan.moc"
