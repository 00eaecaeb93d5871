// The text of the metrics, each checked by promtool too.

#include "metricstext.h"
#include "namedcounts.h"

#include <QProcess>
#include <QSet>
#include <QTest>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

const QDateTime At = QDateTime::fromSecsSinceEpoch(1393921800, Qt::UTC);

MetricsInput One(const ControllerMetrics& controller)
{
    return {u"0.1.0"_s, {controller}};
}

ControllerMetrics Named(const QString& name)
{
    ControllerMetrics controller;
    controller.name = name;
    return controller;
}

MeterMetrics Meter(qint32 id, int status, double total)
{
    return {.globalId = id, .lastRow = MeterRow{At, status, {total, total, 0, 0, 0}}, .clockOffset = {}};
}

ControllerMetrics Full()
{
    ControllerMetrics all = Named(u"probe"_s);
    all.isUp = true;
    all.sweeps = {{u"readings"_s, {3, At}}, {u"clocks"_s, {0, {}}}};
    all.sweepDuration = 45.5;
    all.sweepMeters = {{u"read"_s, 7}};
    all.meters = {Meter(10, 0, 1234.5)};
    all.meters[0].clockOffset = -2.5;
    all.meters[0].expected = 48;
    all.meters[0].received = 47;
    all.incidents = {{u"modem_deaf"_s, 0}};
    all.alarms = {{u"55"_s, 1}};
    all.commands = {{u"About"_s, 2}};
    all.mqttConnected = false;
    return all;
}

/// "" or what promtool says of it.
QByteArray Complaints(const QByteArray& text)
{
    QProcess promtool;
    promtool.setProcessChannelMode(QProcess::MergedChannels);
    promtool.start(u"promtool"_s, {u"check"_s, u"metrics"_s});
    promtool.write(text);
    promtool.closeWriteChannel();
    if (!promtool.waitForFinished())
        return "promtool does not end or is not there: " + promtool.errorString().toUtf8();
    return promtool.exitCode() == 0 ? QByteArray() : promtool.readAll() + text;
}

} // namespace

class TestMetrics : public QObject {
    Q_OBJECT
private slots:
    void text_data();
    void text();
    void names();
};

void TestMetrics::text_data()
{
    QTest::addColumn<MetricsInput>("input");
    QTest::addColumn<QByteArrayList>("present");
    QTest::addColumn<QByteArrayList>("absent");

    QTest::addRow("each metric")
        << One(Full())
        << QByteArrayList{R"(ravelin_controller_up{controller="probe"} 1)",
               R"(ravelin_sweeps_total{controller="probe",kind="clocks"} 0)",
               R"(ravelin_sweep_last_timestamp_seconds{controller="probe",kind="readings"} 1393921800)",
               R"(ravelin_sweep_duration_seconds{controller="probe"} 45.5)",
               R"(ravelin_sweep_meters{controller="probe",status="read"} 7)",
               R"(ravelin_meter_energy_joules_total{controller="probe",global_id="10"} 4444200000)",
               R"(ravelin_meter_last_reading_timestamp_seconds{controller="probe",global_id="10"} 1393921800)",
               R"(ravelin_meter_clock_offset_seconds{controller="probe",global_id="10"} -2.5)",
               R"(ravelin_meter_readings_expected_total{controller="probe",global_id="10"} 48)",
               R"(ravelin_meter_readings_received_total{controller="probe",global_id="10"} 47)",
               R"(ravelin_incidents{controller="probe",kind="modem_deaf"} 0)",
               R"(ravelin_alarms_total{controller="probe",code="55"} 1)",
               R"(ravelin_commands_total{controller="probe",command="About"} 2)",
               R"(ravelin_mqtt_connected{controller="probe"} 0)", R"(# TYPE ravelin_meter_energy_joules_total counter)",
               R"(version="0.1.0")"}
        << QByteArrayList{R"(ravelin_sweep_last_timestamp_seconds{controller="probe",kind="clocks"})"};
    QTest::addRow("no broker, nothing known")
        << One(Named(u"x"_s)) << QByteArrayList{"ravelin_controller_up{controller=\"x\"} 0"}
        << QByteArrayList{"mqtt", "sweep", "meter"};
    ControllerMetrics silent = Named(u"x"_s);
    const double none = std::numeric_limits<double>::quiet_NaN();
    silent.meters = {Meter(1, 255, 0), Meter(2, 0, 0), Meter(3, 3, 5), Meter(4, 0, -5), Meter(5, 0, none)};
    silent.meters[0].clockOffset = none;
    QTest::addRow("zeros, silence and nonsense are no energy")
        << One(silent) << QByteArrayList{"expected_total{controller=\"x\",global_id=\"2\"} 0"}
        << QByteArrayList{"joules", "offset", "timestamp_seconds{controller=\"x\",global_id=\"2\"", "nan"};
    ControllerMetrics hostile = Named(u"a\"} 1\n#\\n\0\x1b"_s);
    hostile.incidents = {
        {u"\n"_s, 1}, {QString(QChar(0xD800)), 1}, {QString(QChar(0xD801)), 1}, {QString(400, u'x'), 1}};
    QTest::addRow("hostile texts") << One(hostile)
                                   << QByteArrayList{R"({controller="a\"} 1\\u{a}#\\n\\u{0}\\u{1b}"} 0)",
                                          R"(,kind="\\u{a}"} 1)", "x...\"} 1"}
                                   << QByteArrayList{"\x1b", QByteArray(1, '\0')};
    ControllerMetrics twice = Full();
    twice.meters = {Meter(10, 255, 0), Meter(10, 0, 7), Meter(11, 0, 1)};
    ControllerMetrics other = Named(twice.name);
    other.meters = {Meter(12, 0, 3)};
    QTest::addRow("meters and controllers of one name: the first")
        << MetricsInput{u"1"_s, {twice, other}} << QByteArrayList{"global_id=\"11\"} 3600000"}
        << QByteArrayList{"25200000", "\"12\""};
}

void TestMetrics::text()
{
    QFETCH(const MetricsInput, input);
    QFETCH(const QByteArrayList, present);
    QFETCH(const QByteArrayList, absent);
    const QByteArray text = MetricsText(input);
    for (const QByteArray& part : present)
        QVERIFY2(text.contains(part), part + " is not in\n" + text);
    for (const QByteArray& part : absent)
        QVERIFY2(!text.contains(part), part + " is in\n" + text);
    QCOMPARE(Complaints(text), QByteArray());

    QSet<QByteArray> series; // promtool does not see a series that stands there twice
    for (const QByteArray& line : text.split('\n')) {
        const QByteArray name = line.left(line.lastIndexOf(' '));
        QVERIFY2(line.isEmpty() || line.startsWith('#') || !series.contains(name), name);
        series.insert(name);
    }
}

void TestMetrics::names()
{
    NamedCounts counts;
    for (int i = 0; i < 1000; ++i)
        counts.Count(QString::number(i));
    counts.Count(u"7"_s);
    QCOMPARE(counts.All().size(), NamedCounts::MostNames + 1);
    QCOMPARE(counts.All().value(u"other"_s), 1000U - NamedCounts::MostNames);
    QCOMPARE(counts.All().value(u"7"_s), 2U);
}

QTEST_GUILESS_MAIN(TestMetrics)
#include "tst_metrics.moc"
