#include "api.h"
#include "tokenfile.h"
#include "virtualtime.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// Requests to the routes, and what the sources are asked.
class ApiTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void requests_data();
    void requests();
    void access_data();
    void access();
    void commands_data();
    void commands();
    void events();
    void description();
    void tokenFile_data();
    void tokenFile();

private:
    [[nodiscard]] static std::shared_ptr<HttpExchange> Asked(Api& api, const QByteArray& method,
        const QByteArray& target, const QHash<QByteArray, QByteArray>& headers = {}, const QByteArray& body = {},
        bool isLocal = true);
};

namespace {

const auto Token = "0123456789abcdef"_ba;

/// They answer with what they are asked.
ApiSources Echoes()
{
    const auto text = [](const QDateTime& at) { return at.toUTC().toString(Qt::ISODate); };
    const auto name = [](const QString& controller) { return ApiAnswer(QJsonObject{{u"of"_s, controller}}); };
    ApiSources sources;
    sources.Controllers = [] { return QStringList{u"north"_s, u"south"_s}; };
    sources.Status = sources.Meters = sources.Incidents = sources.Nodes = sources.Commands = name;
    sources.Sweeps = [text](const QString&, const QDateTime& from, const QDateTime& to) {
        return QJsonObject{{u"range"_s, text(from) + ' '_L1 + text(to)}};
    };
    sources.Readings = [text](const QString&, qint64 meter, const QDateTime& from, const QDateTime& to) -> ApiAnswer {
        if (meter == 404)
            return ApiError{.status = 404, .text = u"no such meter"_s};
        return QJsonObject{{u"range"_s, QString::number(meter) + ' '_L1 + text(from) + ' '_L1 + text(to)}};
    };
    sources.Ledger = [](const QString&, QDate from, QDate to) {
        return QJsonObject{{u"range"_s, from.toString(Qt::ISODate) + ' '_L1 + to.toString(Qt::ISODate)}};
    };
    sources.Clocks = [](const QString&, std::optional<qint64> meter) {
        return QJsonObject{{u"meter"_s, meter ? QJsonValue(*meter) : QJsonValue()}};
    };
    sources.Command = [](const QString& of, const QString& command, const QString& argument,
                          const ApiSources::CommandReply& reply) {
        if (command == "Unknown"_L1)
            reply(ApiError{.status = 404, .text = u"no such command"_s});
        else if (command == "Silent"_L1)
            reply(ApiSources::Sent{});
        else
            reply(QJsonValue(of + ' '_L1 + argument));
    };
    sources.Metrics = [] { return "up 1\n"_ba; };
    return sources;
}

} // namespace

void ApiTest::initTestCase()
{
    qputenv("TZ", "Europe/Moscow"); // +04:00 in winter 2014, +03:00 from October on
    VirtualTime::Reset(QDateTime({2014, 3, 4}, {8, 30}));
}

std::shared_ptr<HttpExchange> ApiTest::Asked(Api& api, const QByteArray& method, const QByteArray& target,
    const QHash<QByteArray, QByteArray>& headers, const QByteArray& body, bool isLocal)
{
    auto exchange = std::make_shared<HttpExchange>();
    const std::optional<HttpTarget> parsed = ParseTarget(target);
    exchange->request = {.method = method,
        .path = parsed->path,
        .query = parsed->query,
        .headers = headers,
        .body = body,
        .isLocal = isLocal};
    exchange->streamBytes = 256 * 1024;
    exchange->resume = exchange->cut = [] {};
    api.Handle(exchange->request, HttpResponder(exchange));
    return exchange;
}

void ApiTest::requests_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("answer");
    const auto row = [](const char* target, int status, const char* answer) {
        QTest::newRow(target) << status << QByteArray(answer);
    };

    row("/api/status", 200, R"({"of":"north"})");
    row("/api/status?controller=south", 200, R"({"of":"south"})");
    row("/api/status?controller=%D1%8E%D0%B3", 404,
        R"({"error":"there is no controller \"юг\" here, only: north, south"})");
    row("/api/status?controller=a%20%22b", 404,
        R"({"error":"there is no controller \"a \"b\" here, only: north, south"})");
    row("/api/status?form=1", 400, R"({"error":"there is no parameter \"form\" here, only: controller"})");
    row("/api/status?controller=north&controller=south", 400, R"({"error":"the parameter \"controller\" came twice"})");
    row("/api/nothing", 404, R"({"error":"there is nothing at \"/api/nothing\""})");
    row("/api/status/", 404, R"({"error":"there is nothing at \"/api/status/\""})");
    row("/../../etc/passwd", 404, R"({"error":"there is nothing at \"/../../etc/passwd\""})");
    row("/metrics", 200, "up 1");
    row("/metrics?x", 400, R"({"error":"there is no parameter \"x\" here"})");

    row("/api/sweeps", 200, R"({"range":"2014-02-25T04:30:00Z 2014-03-04T04:30:00Z"})");
    row("/api/sweeps?from=2014-03-01&to=2014-03-01", 200, R"({"range":"2014-02-28T20:00:00Z 2014-03-01T20:00:00Z"})");
    row("/api/sweeps?to=2014-03-02T12:00", 200, R"({"range":"2014-02-23T08:00:00Z 2014-03-02T08:00:00Z"})");
    row("/api/sweeps?from=2014-03-01T00:00:01Z&to=2014-03-01T05:30:00+05:30", 400,
        R"({"error":"\"from\" is after \"to\""})");
    row("/api/sweeps?from=2014-03-01T00:00:00Z&to=2014-03-01T05:30:00%2B05:30", 200,
        R"({"range":"2014-03-01T00:00:00Z 2014-03-01T00:00:00Z"})");
    row("/api/sweeps?from=2014-03-05", 400, R"({"error":"\"from\" is after \"to\""})");
    row("/api/sweeps?from=2013-03-01&to=2014-03-03", 400,
        R"({"error":"from \"from\" to \"to\" are more than 366 days"})");
    for (const char* wrong : {"", "2014-02-30", "2014-3-1", "2014-03-01T24:00:00Z", "2014-03-01T12:00:00+15:00",
             "2014-03-01%2012:00", "1969-12-31", "now", "2014-03-01T12:00:00.5Z", "%D9%A2014-03-01", "2014-03-01Z"})
        QTest::addRow("no time: \"%s\"", wrong) << 400 << "/api/sweeps?from="_ba + wrong;

    row("/api/readings", 400, R"({"error":"\"meter\" is missing: of which meter?"})");
    row("/api/readings?meter=7&from=2014-03-03", 200, R"({"range":"7 2014-03-02T20:00:00Z 2014-03-04T04:30:00Z"})");
    row("/api/readings?meter=404", 404, R"({"error":"no such meter"})");
    row("/api/readings?meter=7x", 400, R"({"error":"\"meter\" is \"7x\": give the meter's global_id, a number"})");
    row("/api/readings?meter=9999999999999999999", 400,
        R"({"error":"\"meter\" is \"9999999999999999999\": give the meter's global_id, a number"})");
    row("/api/clocks", 200, R"({"meter":null})");
    row("/api/clocks?meter=-1", 200, R"({"meter":-1})");
    row("/api/ledger", 200, R"({"range":"2014-02-26 2014-03-04"})");
    row("/api/ledger?from=2014-02-01&to=2014-02-28", 200, R"({"range":"2014-02-01 2014-02-28"})");
    row("/api/ledger?from=2014-02-01T00:00", 400,
        R"({"error":"\"from\" is \"2014-02-01T00:00\": give a day, 2014-03-04"})");
    row("/api/events?kinds=log,noise", 400,
        R"({"error":"there are no events of the kind \"noise\", only: traffic, log, sweep, incident, alarm, link, command"})");
}

void ApiTest::requests()
{
    QFETCH(const int, status);
    QFETCH(const QByteArray, answer);
    Api api(Echoes(), {});
    const bool isTime = answer.startsWith("/api");
    const auto exchange = Asked(api, "GET"_ba, isTime ? answer : QByteArray(QTest::currentDataTag()));
    QVERIFY(exchange->Response());
    QCOMPARE(exchange->Response()->status, status);
    const QByteArray body = exchange->Response()->body.trimmed();
    if (isTime)
        QVERIFY2(body.contains("give a day, 2014-03-04, or a time"), body.constData());
    else if (body.startsWith('{'))
        QCOMPARE(QJsonDocument::fromJson(body), QJsonDocument::fromJson(answer));
    else
        QCOMPARE(body, answer);
}

void ApiTest::access_data()
{
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<QByteArray>("authorization");
    QTest::addColumn<QList<int>>("statuses"); // local; TCP without a token of the server; with one; with open reading
    const auto right = "Bearer " + Token;
    QTest::newRow("reading") << "GET"_ba
                             << "/api/status"_ba
                             << ""_ba << QList{200, 403, 401, 200};
    QTest::newRow("reading with the token") << "GET"_ba
                                            << "/api/status"_ba << right << QList{200, 403, 200, 200};
    QTest::newRow("metrics") << "HEAD"_ba
                             << "/metrics"_ba
                             << "Bearer x"_ba << QList{200, 403, 401, 200};
    QTest::newRow("events") << "GET"_ba
                            << "/api/events"_ba
                            << ""_ba << QList{0, 403, 401, 0};
    QTest::newRow("command") << "POST"_ba
                             << "/api/commands/A"_ba
                             << ""_ba << QList{200, 403, 401, 401};
    QTest::newRow("command, token") << "POST"_ba
                                    << "/api/commands/A"_ba << right << QList{200, 403, 200, 200};
    QTest::newRow("the page") << "GET"_ba
                              << "/none.html"_ba
                              << ""_ba << QList{404, 404, 404, 404};
    QTest::newRow("post to read") << "POST"_ba
                                  << "/api/status"_ba << right << QList{405, 405, 405, 405};
    QTest::newRow("delete") << "DELETE"_ba
                            << "/"_ba << right << QList{405, 405, 405, 405};
    QTest::newRow("get a command") << "GET"_ba
                                   << "/api/commands/A"_ba << right << QList{405, 405, 405, 405};
}

void ApiTest::access()
{
    QFETCH(const QByteArray, method);
    QFETCH(const QByteArray, target);
    QFETCH(const QByteArray, authorization);
    QFETCH(const QList<int>, statuses);
    const ApiAccess accesses[] = {{}, {}, {.token = Token}, {.token = Token, .openReading = true}};
    for (int each = 0; each < 4; ++each) {
        Api api(Echoes(), accesses[each]);
        const auto exchange = Asked(api, method, target, {{"authorization"_ba, authorization}}, {}, each == 0);
        QCOMPARE(exchange->Response() ? exchange->Response()->status : 0, statuses[each]);
        if (statuses[each] == 405)
            QCOMPARE(exchange->Response()->headers.value(0),
                std::pair("Allow"_ba, target.contains("commands") ? "POST"_ba : "GET, HEAD"_ba));
    }
}

void ApiTest::commands_data()
{
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("answer");
    const auto json = "application/json; charset=utf-8"_ba;
    QTest::newRow("Reset_KS") << json << R"({"argument":"000D6F00001733EB"})"_ba << 200
                              << R"({"command":"Reset_KS","reply":"north 000D6F00001733EB"})"_ba;
    QTest::newRow("GetList") << ""_ba
                             << ""_ba << 200 << R"({"command":"GetList","reply":"north "})"_ba;
    QTest::newRow("Silent") << json << "{}"_ba << 202 << R"({"command":"Silent","sent":true})"_ba;
    QTest::newRow("Unknown") << json << "{}"_ba << 404 << R"({"error":"no such command"})"_ba;
    const auto wrong = R"({"error":"the body of a command is {\"argument\": \"...\"}"})"_ba;
    QTest::newRow("A number") << json << R"({"argument":1})"_ba << 400 << wrong;
    QTest::newRow("Another name") << json << R"({"arguments":"x"})"_ba << 400 << wrong;
    QTest::newRow("A list") << json << "[]"_ba << 400 << wrong;
    QTest::newRow("Cut") << json << R"({"argument":")"_ba << 400 << wrong;
    QTest::newRow("A form") << "application/x-www-form-urlencoded"_ba
                            << "argument=1"_ba << 415 << R"({"error":"the body of a command is application/json"})"_ba;
}

void ApiTest::commands()
{
    QFETCH(const QByteArray, type);
    QFETCH(const QByteArray, body);
    QFETCH(const int, status);
    QFETCH(const QByteArray, answer);
    Api api(Echoes(), {});
    const auto exchange = Asked(api, "POST"_ba,
        "/api/commands/" + QByteArray(QTest::currentDataTag()).replace(' ', "%20"), {{"content-type"_ba, type}}, body);
    QCOMPARE(exchange->Response()->status, status);
    QCOMPARE(QJsonDocument::fromJson(exchange->Response()->body), QJsonDocument::fromJson(answer));
}

void ApiTest::events()
{
    QList<bool> traffic;
    ApiSources sources = Echoes();
    sources.TrafficWanted = [&traffic](bool wanted) { traffic += wanted; };
    sources.EventsSince = [](quint64 after) {
        QList<ApiEvent> events;
        for (quint64 id = std::max<quint64>(after + 1, 5); id <= 6; ++id)
            events += {.id = id, .kind = "log"_ba, .data = R"({"controller":"north"})"_ba};
        return events;
    };
    Api api(sources, {});
    const auto read = [](const std::shared_ptr<HttpExchange>& exchange) {
        QByteArray bytes(500'000, '\0');
        return bytes.first(exchange->Events()->Take(bytes.data(), bytes.size()));
    };
    const auto resume = [&api](const QByteArray& target, const QByteArray& id) {
        return Asked(api, "GET"_ba, target, {{"last-event-id"_ba, id}});
    };

    const auto logs = resume("/api/events?kinds=log", "5");
    QCOMPARE(read(logs), "id: 6\nevent: log\ndata: {\"controller\":\"north\"}\n\n");
    QCOMPARE(read(resume("/api/events?kinds=log", "3")).first(51),
        "event: gap\ndata: {\"after\":\"3\",\"before\":\"5\"}\n\nid: 5\n");
    QCOMPARE(read(resume("/api/events?kinds=log", "x")), "");
    QCOMPARE(traffic, {});
    const auto all = resume("/api/events", {});
    const auto south = resume("/api/events?controller=south&kinds=log,traffic", "4");
    QCOMPARE(traffic, {true});
    QCOMPARE(read(south), "");
    api.Publish({.id = 7, .kind = "traffic"_ba, .data = R"({"controller":"south"})"_ba});
    QCOMPARE(read(all), "id: 7\nevent: traffic\ndata: {\"controller\":\"south\"}\n\n");
    QCOMPARE(read(south), "id: 7\nevent: traffic\ndata: {\"controller\":\"south\"}\n\n");
    QCOMPARE(read(logs), "");
    south->Over();
    QCOMPARE(traffic, {true});

    // One who does not read goes, and takes what is told of traffic with him.
    for (int each = 0; each < 30; ++each)
        api.Publish({.id = 8, .kind = "traffic"_ba, .data = QByteArray(10'000, 'x')});
    QVERIFY(!all->Events()->IsOpen());
    QVERIFY(logs->Events()->IsOpen());
    QCOMPARE(traffic, (QList{true, false}));
}

/// Each place answers as openapi.json says, and takes the parameters that it names.
void ApiTest::description()
{
    Api api(Echoes(), {});
    const QJsonObject document =
        QJsonDocument::fromJson(Asked(api, "GET"_ba, "/api/openapi.json")->Response()->body).object();
    const QJsonObject shared = document[u"components"_s][u"parameters"_s].toObject();
    const QJsonObject paths = document[u"paths"_s].toObject();
    QCOMPARE(paths.size(), 13);
    for (auto path = paths.begin(); path != paths.end(); ++path) {
        const QJsonObject operation = path.value()[u"get"_s].toObject();
        QByteArray target = path.key().toLatin1();
        QByteArray query;
        for (const QJsonValueRef each : operation[u"parameters"_s].toArray()) {
            const QString reference = each[u"$ref"_s].toString();
            const QJsonValue parameter = reference.isEmpty() ? QJsonValue(each) : shared[reference.section(u'/', -1)];
            const QByteArray name = parameter[u"name"_s].toString().toLatin1();
            if (parameter[u"in"_s] == "query"_L1)
                query += (query.isEmpty() ? '?' : '&') + name + '='
                    + (name == "meter"             ? "7"
                            : name == "controller" ? "south"
                            : name == "kinds"      ? "log"
                                                   : "2014-03-01");
        }
        if (operation.isEmpty())
            continue;
        const QJsonObject responses = operation[u"responses"_s].toObject();
        const QJsonObject content = responses[u"200"_s][u"content"_s].toObject();
        const auto good = Asked(api, "GET"_ba, target + query);
        const QByteArray type =
            good->Events() ? "text/event-stream"_ba : good->Response()->contentType.split(';').constFirst();
        QVERIFY2(good->Events() || good->Response()->status == 200, (target + query).constData());
        QVERIFY2(content.contains(QString::fromLatin1(type)), (target + ' ' + type).constData());
        if (!query.isEmpty())
            QVERIFY(responses.contains(u"400"_s));
        QVERIFY(responses.contains(u"401"_s));
    }
}

void ApiTest::tokenFile_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("token");
    QTest::newRow("a line") << Token + "\nmore\n" << 0x6040 << Token;
    QTest::newRow("everybody reads") << Token << 0x6044 << ""_ba;
    QTest::newRow("short") << "0123456789abcde\n"_ba << 0x6000 << ""_ba;
    QTest::newRow("empty") << ""_ba << 0x6000 << ""_ba;
    QTest::newRow("a blank inside") << "01234567 89abcdef"_ba << 0x6000 << ""_ba;
    QTest::newRow("too long") << QByteArray(1025, 'x') << 0x6000 << ""_ba;
}

void ApiTest::tokenFile()
{
    QFETCH(const QByteArray, contents);
    QFETCH(const int, mode);
    QFETCH(const QByteArray, token);
    const QTemporaryDir directory;
    QFile file(directory.filePath(u"token"_s));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size());
    file.close();
    QVERIFY(file.setPermissions(QFile::Permissions(mode)));
    const TokenFile read = TokenFile::Read(file.fileName());
    QCOMPARE(read.token, token);
    QCOMPARE(read.problem.isEmpty(), !token.isEmpty());
}

QTEST_GUILESS_MAIN(ApiTest)
#include "tst_api.moc"
