#include "bearertoken.h"
#include "httpserver.h"
#include "virtualtime.h"

#include <QLocalSocket>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

/// Raw requests over real sockets, and what comes back.
class HttpTest : public QObject {
    Q_OBJECT

private slots:
    void init();
    void requests_data();
    void requests();
    void names_data();
    void names();
    void headers();
    void lateRequests_data();
    void lateRequests();
    void answersLater();
    void tooManyConnections();
    void stalledReader();
    void socketFile();
    void tokens();

private:
    void Answer(const HttpRequest& request, const HttpResponder& responder);
    [[nodiscard]] QByteArray Exchange(QIODevice& socket, const QByteArray& request);
    [[nodiscard]] std::unique_ptr<QLocalSocket> Connect() const;

    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<HttpServer> server;
    QString path;
    std::optional<HttpResponder> kept;
    QList<std::shared_ptr<EventStream>> streams;
};

namespace {

constexpr HttpLimits Small{.socketFileConnections = 4, .tcpConnections = 2, .requestMs = 100};

QByteArray Get(const QByteArray& target, const QByteArray& headers = "Host: a\r\n")
{
    return "GET " + target + " HTTP/1.1\r\n" + headers + "\r\n";
}

QByteArray Post(const QByteArray& headers, const QByteArray& body)
{
    return "POST /echo HTTP/1.1\r\nHost: a\r\n" + headers + "\r\n" + body;
}

/// The status lines' numbers in what came, and "closed" at its end when the server closed.
QByteArray Statuses(const QByteArray& received, bool isClosed)
{
    QByteArrayList statuses;
    for (qsizetype at = 0; (at = received.indexOf("HTTP/1.1 ", at)) >= 0; at += 9)
        statuses += received.mid(at + 9, 3);
    if (isClosed)
        statuses += "closed"_ba;
    return statuses.join(' ');
}

} // namespace

void HttpTest::init()
{
    VirtualTime::Reset(QDateTime({2014, 3, 4}, {8, 30}));
    streams.clear();
    kept.reset();
    server.reset();
    directory = std::make_unique<QTemporaryDir>();
    path = directory->filePath(u"s"_s);
    server = std::make_unique<HttpServer>(
        [this](const auto& request, const auto& responder) { Answer(request, responder); }, Small);
    QCOMPARE(server->ListenAtFile(path), std::nullopt);
}

void HttpTest::Answer(const HttpRequest& request, const HttpResponder& responder)
{
    if (request.path == "/later"_L1)
        kept = responder;
    else if (request.path == "/events"_L1)
        streams += responder.BeginEvents();
    else if (request.path != "/dropped"_L1)
        responder.Answer({.status = 200,
            .contentType = "text/plain"_ba,
            .body = request.method + ' ' + request.path.toUtf8() + ' ' + request.body,
            .headers = {}});
}

std::unique_ptr<QLocalSocket> HttpTest::Connect() const
{
    auto socket = std::make_unique<QLocalSocket>();
    socket->connectToServer(path);
    return socket;
}

/// All that comes until the server closes, or answers "/last", which is asked behind `request`.
QByteArray HttpTest::Exchange(QIODevice& socket, const QByteArray& request)
{
    bool isClosed = false;
    QObject scope;
    connect(&socket, &QIODevice::readChannelFinished, &scope, [&isClosed] { isClosed = true; });
    socket.write(request);
    QByteArray received;
    if (!QTest::qWaitFor([&] { return received += socket.readAll(), isClosed || received.contains(" /last "); }))
        return received + "neither closed nor answered";
    received += socket.readAll();
    return Statuses(received, isClosed) + (received.contains("GET /last ") ? " last" : "");
}

void HttpTest::requests_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray last = Get("/last");
    const auto row = [](const char* name, const QByteArray& request, const char* expected) {
        QTest::newRow(name) << request << QByteArray(expected);
    };

    row("plain", last, "200 last");
    row("three in one piece", Get("/a") + Get("/b") + last, "200 200 200 last");
    row("one that is answered never, and the next", Get("/dropped") + last, "500 200 last");
    row("a body", Post("Content-Length: 3\r\n", "abc") + last, "200 200 last");
    row("a body in chunks", Post("Transfer-Encoding: chunked\r\n", "3\r\nabc\r\n0\r\n\r\n") + last, "200 200 last");
    row("as much as may be", Post("Content-Length: 65536\r\n", QByteArray(65536, 'x')) + last, "200 200 last");
    row("announced as too much", Post("Content-Length: 65537\r\n", {}), "413 closed");
    row("too much in chunks",
        Post("Transfer-Encoding: chunked\r\n", "10001\r\n" + QByteArray(65537, 'x') + "\r\n0\r\n\r\n") + last,
        "413 200 last");
    row("much too much in chunks", Post("Transfer-Encoding: chunked\r\n", "ffffff\r\n" + QByteArray(0xffffff, 'x')),
        "closed");
    row("a length beyond all numbers", Post("Content-Length: 99999999999999999999\r\n", {}), "413 413 closed");
    // The library refuses some by itself, and then writes its head twice.
    row("a negative length", Post("Content-Length: -1\r\n", {}), "400 400 closed");
    row("two lengths", Post("Content-Length: 3\r\nContent-Length: 4\r\n", "abc"), "400 closed");
    row("two lengths in one", Post("Content-Length: 3, 3\r\n", "abc"), "400 400 closed");
    row("a length and chunks", Post("Content-Length: 3\r\nTransfer-Encoding: chunked\r\n", "0\r\n\r\n"), "400 closed");
    row("another coding", Post("Transfer-Encoding: gzip\r\n", "abc"), "501 closed");
    row("no Host", Get("/", {}), "400 closed");
    row("two Hosts", Get("/", "Host: a\r\nHost: a\r\n"), "400 closed");
    row("a broken escape", Get("/%4"), "400 closed");
    row("a zero byte in an escape", Get("/a%00b"), "400 closed");
    row("no UTF-8", Get("/%ff"), "400 closed");
    row("a blank in the path", Get("/a b"), "400 closed");
    row("a blank behind a header's name", Get("/", "Host : a\r\n"), "400 closed");
    row("a header without a colon", Get("/", "Host: a\r\nX\r\n"), "400 closed");
    row("a header over two lines", Get("/last", "Host: a\r\nX: a\r\n b\r\n"), "200 last");
    row("a version that is none", "GET / HTTP/9.9\r\nHost: a\r\n\r\n", "505 closed");
    row("no version", "GET /\r\n\r\n", "400 closed");
    row("no path", Get("*"), "400 closed");
    row("a line that is no request", "hello\r\n\r\n", "closed");
    row("a head without end", "GET / HTTP/1.1\r\nHost: a\r\nX: " + QByteArray(40000, 'x'), "431 closed");
    row("many headers", Get("/", QByteArray("X: y\r\n").repeated(4000)), "431 closed");
    row("a path without end", "GET /" + QByteArray(40000, 'x'), "414 closed");
}

void HttpTest::requests()
{
    QFETCH(const QByteArray, request);
    QFETCH(const QByteArray, expected);
    QCOMPARE(Exchange(*Connect(), request), expected);
}

void HttpTest::names_data()
{
    QTest::addColumn<QByteArray>("headers");
    QTest::addColumn<QByteArray>("expected");
    const auto row = [](const char* headers, const char* expected) {
        QTest::newRow(headers) << QByteArray(headers) << QByteArray(expected);
    };
    row("Host: localhost", "200 last");
    row("Host: LOCALHOST.:8480", "200 last");
    row("Host: 127.0.0.1:1", "200 last");
    row("Host: 127.0.0.2", "403 closed");
    row("Host: localhost.evil.example", "403 closed");
    row("Host: evil.example:8480", "403 closed");
    row("Host: 127.0.0.1.evil.example", "403 closed");
    row("Host: localhost:80:80", "403 closed");
    row("Host: localhost:x", "403 closed");
    row("Host: [127.0.0.1]", "200 last");
    row("Host: [localhost", "403 closed");
    row("Host: user@localhost", "403 closed");
    row("Host: ", "403 closed");
    row("Host: localhost\r\nOrigin: http://localhost", "200 last");
    row("Host: localhost:8480\r\nOrigin: https://localhost:8480", "200 last");
    row("Host: localhost:8480\r\nOrigin: http://localhost:3000", "403 closed");
    row("Host: localhost\r\nOrigin: http://evil.example", "403 closed");
    row("Host: localhost\r\nOrigin: null", "403 closed");
}

void HttpTest::names()
{
    QFETCH(const QByteArray, headers);
    QFETCH(const QByteArray, expected);
    QCOMPARE(server->ListenAtAddress(u"127.0.0.1:0"_s), std::nullopt);
    QTcpSocket socket;
    socket.connectToHost(u"127.0.0.1"_s, server->Ports().constFirst());
    QCOMPARE(Exchange(socket, Get("/last", headers + "\r\n")), expected);
}

void HttpTest::headers()
{
    const auto socket = Connect();
    socket->write("HEAD /a HTTP/1.1\r\nHost: a\r\n\r\n" + Get("/events"));
    QByteArray received;
    QTRY_VERIFY((received += socket->readAll()).contains("event-stream"));
    QVERIFY(received.contains("Content-Length: 8\r\n"));
    QVERIFY(!received.contains("HEAD /a")); // the body
    QCOMPARE(received.count("X-Content-Type-Options: nosniff\r\n"), 2);
    QCOMPARE(received.count("Cache-Control: no-store\r\n"), 2);
}

void HttpTest::lateRequests_data()
{
    QTest::addColumn<QByteArray>("begun");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("half a request line") << "GET /la"_ba;
    QTest::newRow("half a head") << "GET /last HTTP/1.1\r\nHo"_ba;
    QTest::newRow("half a body") << Post("Content-Length: 3\r\n", "a");
    QTest::newRow("idle after a request") << Get("/a");
}

void HttpTest::lateRequests()
{
    QFETCH(const QByteArray, begun);
    const auto socket = Connect();
    socket->write(begun);
    QTRY_COMPARE(server->Connections(), 1);
    VirtualTime::Advance(Small.requestMs - 1);
    QVERIFY(!QTest::qWaitFor([&] { return server->Connections() == 0; }, 30));
    VirtualTime::Advance(2);
    QTRY_COMPARE(server->Connections(), 0);
    QTRY_COMPARE(socket->state(), QLocalSocket::UnconnectedState);
}

void HttpTest::answersLater()
{
    const auto socket = Connect();
    const auto other = Connect();
    socket->write(Get("/later") + Get("/last"));
    QTRY_VERIFY(kept);
    VirtualTime::Advance(10 * Small.requestMs); // an answer has all the time
    QCOMPARE(Exchange(*other, Get("/last")), "200 last");
    QCOMPARE(socket->bytesAvailable(), 0);
    kept->Answer(ErrorResponse(504, u"no"_s));
    kept->Answer(ErrorResponse(500, u"twice"_s));
    QCOMPARE(Exchange(*socket, {}), "504 200 last");

    // The reader may go, and the server too, before the answer comes.
    kept.reset();
    socket->write(Get("/later"));
    QTRY_VERIFY(kept);
    server.reset();
    kept->Answer(ErrorResponse(504, u"no"_s));
    QVERIFY(!kept->BeginEvents());
}

void HttpTest::tooManyConnections()
{
    std::vector<std::unique_ptr<QLocalSocket>> held(static_cast<size_t>(Small.socketFileConnections));
    for (auto& each : held)
        each = Connect();
    QTRY_COMPARE(server->Connections(), Small.socketFileConnections);
    QCOMPARE(Exchange(*Connect(), Get("/last")), "closed");
    held.pop_back();
    QTRY_COMPARE(server->Connections(), Small.socketFileConnections - 1);
    QCOMPARE(Exchange(*Connect(), Get("/last")), "200 last");
}

void HttpTest::stalledReader()
{
    const auto reader = Connect();
    reader->write(Get("/events"));
    const auto stalled = Connect();
    stalled->setReadBufferSize(1);
    stalled->write(Get("/events"));
    QTRY_COMPARE(streams.size(), 2);
    QByteArray received;
    const QByteArray data(1000, 'x');
    int sent = 0;
    QTRY_VERIFY2_WITH_TIMEOUT(
        [&] {
            for (int each = 0; each < 10; ++each, ++sent)
                for (const auto& stream : streams)
                    stream->Send(QByteArray::number(sent), "log", data);
            received += reader->readAll();
            return server->Connections() == 1;
        }(),
        "the stalled reader is still there", 20000);
    QTRY_COMPARE((received += reader->readAll()).count("\nevent: log\ndata: x"), sent);
    QVERIFY(streams[0]->IsOpen() != streams[1]->IsOpen());

    reader->abort(); // seen without anything being sent to him
    QTRY_COMPARE(server->Connections(), 0);
}

void HttpTest::socketFile()
{
    struct stat status { };
    QCOMPARE(stat(path.toLocal8Bit().constData(), &status), 0);
    QCOMPARE(status.st_mode & 07777, 0660U);

    HttpServer second([](const auto&, const auto&) {}, Small);
    QVERIFY(second.ListenAtFile(path)->contains(u"a program listens there already"_s));
    QVERIFY(second.ListenAtFile(path + u"x"_s, u"no such group"_s)->contains(u"no such group"_s));
    QVERIFY(!QFile::exists(path + u"x"_s));
    QVERIFY(second.ListenAtFile(directory->path())->contains(u"no socket"_s));
    QVERIFY(second.ListenAtAddress(u"127.0.0.1"_s)->contains(u"a port"_s));

    const QByteArray stale = directory->filePath(u"stale"_s).toLocal8Bit();
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    qstrncpy(address.sun_path, stale.constData(), sizeof address.sun_path);
    const int dead = socket(AF_UNIX, SOCK_STREAM, 0);
    QCOMPARE(bind(dead, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(dead);
    QCOMPARE(second.ListenAtFile(QString::fromLocal8Bit(stale)), std::nullopt);
    path = QString::fromLocal8Bit(stale);
    QCOMPARE(Connect()->waitForConnected(), true);

    server.reset();
    QVERIFY(!QFile::exists(directory->filePath(u"s"_s)));
}

void HttpTest::tokens()
{
    const QByteArray token = "0123456789abcdef"_ba;
    QVERIFY(BearerFits("Bearer 0123456789abcdef"_ba, token));
    QVERIFY(BearerFits("bearer  0123456789abcdef "_ba, token));
    for (const QByteArray& wrong : {"Bearer 0123456789abcdeg"_ba, "Bearer 0123456789abcde"_ba, "Bearer "_ba, ""_ba,
             "Basic 0123456789abcdef"_ba, "0123456789abcdef"_ba, "Bearer 0123456789abcdef0"_ba})
        QVERIFY2(!BearerFits(wrong, token), wrong.constData());
    QVERIFY(!BearerFits("Bearer "_ba, {}));
}

QTEST_GUILESS_MAIN(HttpTest)
#include "tst_http.moc"
