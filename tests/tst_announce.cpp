// What is said on MQTT of a meter, and what of the settings for it is refused.

#include "announcesettings.h"
#include "files.h"
#include "meterannouncements.h"
#include "settingsfile.h"

#include <QTemporaryDir>
#include <QTest>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

const MeterAnnouncements Site(u"energy/ravelin"_s, u"ha"_s, u"ТП+7/#"_s, u"0.1.0"_s);
const QByteArray Base = "energy/ravelin/_d0_a2_d0_9f_2b7_2f_23/";
const QByteArray Device = "ravelin__d0_a2_d0_9f_2b7_2f_23_10";

AnnouncedRow Row(int status, std::array<double, 5> energy)
{
    return {10, QDateTime(QDate(2026, 3, 1), QTime(8, 30), Qt::OffsetFromUTC, 3 * 3600), status, energy};
}

} // namespace

class TestAnnounce : public QObject {
    Q_OBJECT
private slots:
    void messages_data();
    void messages();
    void values_data();
    void values();
    void settings_data();
    void settings();
};

void TestAnnounce::messages_data()
{
    QTest::addColumn<MqttMessage>("message");
    QTest::addColumn<QByteArray>("topic");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<bool>("retain");
    const AnnouncedRow row = Row(0, {1234.5678, 1000, 234.5678, 0, 0});
    QTest::addRow("will") << Site.Availability(false) << Base + "availability"
                          << "offline"_ba << true;
    QTest::addRow("list") << Site.Meters({1, 10}) << Base + "meters"
                          << "[1,10]"_ba << true;
    QTest::addRow("state") << Site.State(row, true) << Base + "10/state"
                           << R"({"at":"2026-03-01T08:30:00+03:00","tariff1":1000,"tariff2":234.568,"tariff3":0,)"
                              R"("tariff4":0,"total":1234.568})"_ba
                           << true;
    QTest::addRow("reading, one register") << Site.Reading(row, false) << Base + "10/reading"
                                           << R"({"at":"2026-03-01T08:30:00+03:00","total":1234.568})"_ba << false;
    QTest::addRow("config, hostile number")
        << Site.Config(
               {.globalId = 10, .uin = {}, .number = u"7\n{{ x }}\"\0"_s, .model = u"CE102"_s, .hasTariffs = false})
        << "ha/device/" + Device + "/config"
        << R"({"availability_topic":"BASEavailability","cmps":{"at":{"device_class":"timestamp","name":"Last reading",)"
           R"("p":"sensor","unique_id":"DEVICE_at","value_template":"{{ value_json.at }}"},"total":{"device_class":"energy",)"
           R"("name":"Energy","p":"sensor","state_class":"total_increasing","unique_id":"DEVICE_total",)"
           R"("unit_of_measurement":"kWh","value_template":"{{ value_json.total }}"}},"dev":{"ids":["DEVICE"],"mdl":"CE102",)"
           R"("name":"CE102 7\\u{a}{{ x }}\"\\u{0}","sn":"7\\u{a}{{ x }}\"\\u{0}"},"o":{"name":"ravelin-hub","sw":"0.1.0"},)"
           R"("qos":1,"state_topic":"BASE10/state"})"_ba.replace("BASE", Base)
               .replace("DEVICE", Device)
        << true;
    QTest::addRow("gone") << Site.Removal(10).value(0) << "ha/device/" + Device + "/config"
                          << ""_ba << true;
    QTest::addRow("its state, too") << Site.Removal(10).value(1) << Base + "10/state"
                                    << ""_ba << true;
}

void TestAnnounce::messages()
{
    QFETCH(const MqttMessage, message);
    QTEST(message.topic, "topic");
    QTEST(message.payload, "payload");
    QTEST(message.retain, "retain");
}

void TestAnnounce::values_data()
{
    QTest::addColumn<QVariant>("found");
    QTest::addColumn<QVariant>("expected");
    const double none = std::numeric_limits<double>::quiet_NaN();
    QTest::addRow("silent") << QVariant(Row(255, {}).IsReading()) << QVariant(false);
    QTest::addRow("zeros") << QVariant(Row(0, {}).IsReading()) << QVariant(false);
    QTest::addRow("no number") << QVariant(Row(0, {1, none, 0, 0, 0}).IsReading()) << QVariant(false);
    QTest::addRow("a reading") << QVariant(Row(0, {1, 0, 0, 0, 0}).IsReading()) << QVariant(true);
    const auto level = [](const char* name, const QString& text, const QByteArray& expected) {
        QTest::addRow("level: %s", name) << QVariant(MeterAnnouncements::Level(text)) << QVariant(expected);
    };
    level("NUL, line end, wildcard", u"a\0\n+"_s, "a_00_0a_2b");
    level("what stands for a byte is written out, too", u"a_2f"_s, "a_5f2f");
    level("empty", {}, "_");
    level("long", QString(1000, u'a'), QByteArray(64, 'a'));
    const QStringList prefixes{
        u""_s, u"a/"_s, u"/a"_s, u"a//b"_s, u"a+"_s, u"a/#"_s, u"$SYS"_s, u"a\0b"_s, QString(201, u'a')};
    for (const QString& prefix : prefixes)
        QTest::addRow("no prefix: %s", qPrintable(prefix.left(10)))
            << QVariant(MeterAnnouncements::IsTopicPrefix(prefix)) << QVariant(false);
    QTest::addRow("prefix") << QVariant(MeterAnnouncements::IsTopicPrefix(u"дом/$x"_s)) << QVariant(true);
    const auto list = [](const char* name, const QByteArray& payload, const QList<qint32>& expected) {
        QTest::addRow("list: %s", name) << QVariant::fromValue(MeterAnnouncements::MetersIn(payload))
                                        << QVariant::fromValue(expected);
    };
    list("good", "[1,-2]", {1, -2});
    list("hostile", R"([1e300,"3",null,1.5,[4],7])", {7});
    list("no list", "{", {});
}

void TestAnnounce::values()
{
    QFETCH(const QVariant, found);
    QTEST(found, "expected");
}

void TestAnnounce::settings_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* name, const QByteArray& text, const QString& expected) {
        QTest::addRow("%s", name) << text << expected;
    };
    row("off", "User=x\nPrefix=#", u"off"_s);
    row("defaults", "Broker=mqtt.example", u"mqtt.example 1883 ravelin homeassistant  "_s);
    row("all",
        "Broker=[::1]:1884\nUser=u\nPasswordFile=DIR/password\nPrefix=a/b\nDiscovery=", u"::1 1884 a/b  u secret"_s);
    row("TLS", "Broker=h\nCaFile=DIR/password", u"h 8883 ravelin homeassistant  "_s);
    row("wrong port", "Broker=h:70000", u"MQTT/Broker is \"h:70000\", neither HOST nor HOST:PORT"_s);
    row("a URL", "Broker=mqtt://h", u"MQTT/Broker is \"mqtt://h\", neither HOST nor HOST:PORT"_s);
    row("no such file", "Broker=h\nUser=u\nPasswordFile=DIR/none",
        u"MQTT/PasswordFile: the file DIR/none cannot be read: No such file or directory"_s);
    row("password without user, key without certificate", "Broker=h\nPasswordFile=DIR/password\nKeyFile=DIR/password",
        u"MQTT/PasswordFile: a password needs MQTT/User|MQTT/CertFile and MQTT/KeyFile: one needs the other"_s);
    row("topics", "Broker=h\nPrefix=a/+\nDiscovery=/x",
        u"MQTT/Prefix is \"a/+\", with which no topic can begin|MQTT/Discovery is \"/x\", with which no topic can begin"_s);
}

void TestAnnounce::settings()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, expected);
    const QTemporaryDir directory;
    Write(directory.filePath(u"password"_s), "secret\r\nsecond line");
    const QString ini =
        Write(directory.filePath(u"hub.ini"_s), "[MQTT]\n" + text.replace("DIR", directory.path().toUtf8()));
    QStringList problems;
    const auto read = ReadAnnounceSettings(SettingsFile(ini), problems);
    const QString found = read
        ? u"%1 %2 %3 %4 %5 %6"_s.arg(read->broker.host)
              .arg(read->broker.port)
              .arg(read->prefix, read->discovery, read->broker.user, QString::fromUtf8(read->broker.password))
        : problems.isEmpty() ? u"off"_s
                             : problems.mid(0, problems.size() - 1).join(u'|');
    QCOMPARE(found, expected.replace(u"DIR"_s, directory.path()));
}

QTEST_GUILESS_MAIN(TestAnnounce)
#include "tst_announce.moc"
