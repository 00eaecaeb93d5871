// What a service manager is told while the collector works, and when it is told nothing more.

#include "collectorbench.h"
#include "service.h"

#include <QTimer>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

/// Thrown out of a wait that would not end.
struct GaveUp { };

} // namespace

class tst_Service : public CollectorBench {
    Q_OBJECT

    int manager = -1;
    QDateTime begin;
    QStringList told; // but for the watchdog
    QList<qint64> alive; // when the watchdog was told, s

    void Listen()
    {
        sockaddr_un address = {AF_UNIX, {}};
        const QByteArray path = Path(u"notify"_s).toUtf8();
        std::copy(path.begin(), path.end(), address.sun_path);
        ::close(manager); // of the test before
        manager = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0);
        QCOMPARE(::bind(manager, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        qputenv("NOTIFY_SOCKET", path);
        qputenv("WATCHDOG_USEC", "120000000");
        begin = CurrentDateTime();
        told.clear();
        alive.clear();
        Service::Install();
        duringWait = [this] { Look(); };
    }

    void Look()
    {
        Service::Look();
        std::array<char, 1000> bytes{};
        for (ssize_t size = 0; (size = ::recv(manager, bytes.data(), bytes.size(), 0)) > 0;)
            if (const auto text = QString::fromUtf8(bytes.data(), size); text == "WATCHDOG=1"_L1)
                alive.append(begin.secsTo(CurrentDateTime()));
            else
                told.append(text);
    }

    void TimerTicks(QTime time)
    {
        VirtualTime::Advance(CurrentDateTime().msecsTo({CurrentDateTime().date(), time}));
        QMetaObject::invokeMethod(collector->findChildren<QTimer*>().first(), "timeout");
        Look();
    }

    /// From now on, in the event loop.
    [[nodiscard]] bool IsToldWithin(int seconds)
    {
        alive.clear();
        for (int i = 0; i < seconds; ++i) {
            VirtualTime::Advance(1000);
            Look();
        }
        return !alive.isEmpty();
    }

private slots:
    void longSweep()
    {
        for (int i = 0; i < 1000; ++i)
            Register(i, QByteArray::number(i), u"1"_s, u"SET1"_s, 0);
        vars.RepeateQueryKTPNumber = 15;
        Create();
        Listen();
        Service::Ready();
        TimerTicks(QTime(8, 30));
        QCOMPARE(told.size(), 1 + 16 + 1000 + 1);
        QCOMPARE(told[0], u"READY=1"_s);
        QCOMPARE(told[2], u"STATUS=substation meter, try 2 of 16"_s);
        QCOMPARE(told[17], u"STATUS=read-out 1 of 1000"_s);
        QCOMPARE(told.last(), u"STATUS=waiting"_s);
        QVERIFY(alive.last() > 10000); // 2.8 hours
        alive.prepend(0);
        for (qsizetype i = 1; i < alive.size(); ++i)
            QVERIFY2(alive[i] - alive[i - 1] <= 60, qPrintable(QString::number(alive[i])));
        QVERIFY(IsToldWithin(60));
        TimerTicks(QTime(11, 30)); // nobody has answered
        QVERIFY(told.contains(u"STATUS=query again 34 of 1000"_s));
    }

    void pollingThatEnds()
    {
        Create();
        Listen();
        qputenv("PATH", Path(u"empty"_s).toUtf8());
        TimerTicks(QTime(9, 15));
        QCOMPARE(told, Lines("STATUS=time sweep: the time daemon is asked|STATUS=polling has ended"));
        QVERIFY(!IsToldWithin(300));
    }

    void tickThatDoesNotEnd()
    {
        FakeNtpq("echo 10.0.0.1"); // another than the settings name
        vars.NtpServer = u"10.0.0.9"_s;
        Create();
        Listen();
        VirtualTime::Advance(CurrentDateTime().msecsTo({{2014, 3, 4}, {9, 15}}));
        duringWait = [this] {
            Look();
            if (begin.secsTo(CurrentDateTime()) > 20000)
                throw GaveUp();
        };
        Service::TickBegins();
        const qint64 tick = begin.secsTo(QDateTime({2014, 3, 4}, {9, 15}));
        QVERIFY_THROWS_EXCEPTION(GaveUp, Tick(QTime(9, 15)));
        QVERIFY(alive.last() > tick + 240 && alive.last() <= tick + 300);
        QCOMPARE(LogLines("the service manager is to start the daemon anew"), 1);
    }

    void noWork_data()
    {
        QTest::addColumn<bool>("inTick");
        QTest::addColumn<int>("messages");
        QTest::addColumn<bool>("isAside");
        QTest::addColumn<bool>("isTold");
        QTest::addRow("messages that belong to a batch") << true << 1000 << false << true;
        QTest::addRow("the same message again and again") << true << 1 << false << false;
        QTest::addRow("messages of commands, no tick comes") << false << 1000 << false << false;
        QTest::addRow("a command that takes long") << false << 1000 << true << true;
    }

    void noWork()
    {
        QFETCH(const bool, inTick);
        QFETCH(const int, messages);
        QFETCH(const bool, isAside);
        QFETCH(const bool, isTold);
        Listen();
        Service::TickBegins();
        if (!inTick)
            Service::TickEnds(true);
        Service::BatchBegins(u"read-out"_s, messages);
        const auto aside = isAside ? std::make_unique<Liveness::Aside>(Service::Work()) : nullptr;
        for (int i = 0; i < 1000; ++i) {
            VirtualTime::Advance(10000);
            Service::Step();
            Look(); // a manager that does not read would be waited for
        }
        QCOMPARE(IsToldWithin(60), isTold);
    }
};

QTEST_GUILESS_MAIN(tst_Service)
#include "tst_service.moc"
