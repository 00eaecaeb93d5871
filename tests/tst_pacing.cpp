// Read-outs paced by answers: when each node is told to send, in virtual time, on a radio whose every word is played.

#include "collectorbench.h"
#include "meteranswers.h"
#include "zigbee.h"

#include <map>

using namespace Qt::StringLiterals;

namespace {

/// What becomes of a message to a node: a letter each.
constexpr char Answers = 'a'; // after 300 ms; the report of the delivery comes after 200 ms
constexpr char Mute = 'm'; // delivered, but there is no answer
constexpr char Fails = 'f'; // reported after 400 ms as not delivered
constexpr char RefusedOnce = 'r';
constexpr char Refused = 'R';
constexpr char Unnumbered = 'u'; // answers, but the modem's number is lost
constexpr char Unreported = 'l'; // mute, and the report is lost
constexpr char StartsAnew = 's'; // the modem is started anew, then the node answers

} // namespace

class tst_Pacing : public CollectorBench {
    Q_OBJECT

    void Later(qint64 ms, std::function<void()> what)
    {
        agenda.emplace(CurrentDateTime().addMSecs(ms), std::move(what));
    }

    void Say()
    {
        while (!agenda.empty() && agenda.begin()->first <= CurrentDateTime())
            agenda.extract(agenda.begin()).mapped()();
    }

    void Play(int n, const QByteArray& message)
    {
        if (message == "\xC0\x01\xC1" && !measures)
            return;
        if (sends.isEmpty())
            firstSend = CurrentDateTime();
        sends.append(u"%1:%2"_s.arg(firstSend.msecsTo(CurrentDateTime())).arg(n));
        char& fate = fates[n - 1];
        const bool refused = fate == Refused || fate == RefusedOnce;
        if (refused) {
            if (fate == RefusedOnce)
                fate = Answers;
            Later(20, [this] { collector->zError(5); });
            return;
        }
        if (fate == StartsAnew) {
            fate = Answers;
            Later(50, [this] { collector->zError(ZigBee::StartedAnewCode); });
            return;
        }
        const quint8 number = numbers++;
        if (fate != Unnumbered)
            Later(20, [this, number] { collector->zAcceptUCAST(number); });
        if (fate == Fails)
            Later(400, [this, number] { collector->zNACK(number); });
        else if (fate != Unreported)
            Later(200, [this, number] { collector->zACK(number); });
        if ((fate == Answers || fate == Unnumbered) && message == "\xC0\x02\xC1")
            Later(300, [this, n] { Answer(n, MeterAnswers::EnergySET1({1, 2, 3, 4})); });
    }

    void Begin(const QByteArray& fatesOfAll, int window)
    {
        QStringList unknown;
        vars.field = FieldConduct::Of({}, unknown, window);
        vars.RepeatQueryNumber = 1;
        fates = fatesOfAll;
        numbers = 98;
        sends.clear();
        agenda.clear();
        for (int n = 1; n <= fates.size(); ++n)
            RegisterNode(n, u"SET1"_s);
        Create();
        connect(collector.get(), &TCollector::RadioWanted, this, &tst_Pacing::Say);
        connect(collector.get(), &TCollector::SendMessage, this,
            [this](const QByteArray& uin, const QByteArray& bytes) { Play(uin.back() - '0', bytes); });
    }

    std::multimap<QDateTime, std::function<void()>> agenda;
    QByteArray fates;
    quint8 numbers = 0;
    bool measures = false; // also the commands to measure are noted
    QDateTime firstSend;
    QStringList sends;

private slots:
    void readOut_data()
    {
        QTest::addColumn<int>("window");
        QTest::addColumn<QByteArray>("nodes");
        QTest::addColumn<QString>("sends"); // ms:node
        const auto row = [](const char* name, int window, const char* nodes, const char* times) {
            QTest::addRow("%s", name) << window << QByteArray(nodes) << QString::fromUtf8(times);
        };
        row("one at a time", 1, "aaa", "0:1 300:2 600:3");
        row("two on their way", 2, "aaaa", "0:1 20:2 300:3 320:4");
        row("a mute node holds one place, for the pause", 2, "maaa", "0:1 20:2 320:3 620:4");
        row("a mute node alone", 1, "ma", "0:1 10000:2");
        row("a node that is not reached", 1, "faa", "0:1 400:2 700:3");
        row("refused once: halved, asked again", 2, "raa", "0:1 260:1 560:2 860:3");
        row("refused for good: three tries", 1, "Ra", "0:1 260:1 520:1 780:2");
        row("a number is lost: the next one goes a second later, and keeps its own", 4, "ufaa",
            "0:1 300:2 320:3 340:4");
        row("a report is lost", 1, "la", "0:1 10000:2");
        row("the modem is started anew", 4, "asa", "0:1 20:2 70:1 90:2 110:3");
        row("a delivery among eight failures", 4, "ffffmffff", "0:1 20:2 40:3 60:4 400:5 420:6 440:7 460:8 820:9");
        row("eight mute nodes are no failures of the radio", 4, "mmmmmmmma",
            "0:1 20:2 40:3 60:4 10000:5 10020:6 10040:7 10060:8 20000:9");
        row("five failures in a row: halved", 4, "fffffffff", "0:1 20:2 40:3 60:4 400:5 420:6 440:7 460:8 840:9");
    }

    void readOut()
    {
        QFETCH(int, window);
        QFETCH(QByteArray, nodes);
        Begin(nodes, window);
        Tick(QTime(8, 30));
        QTEST(sends.join(u' '), "sends");
        const bool complete =
            !nodes.contains(Mute) && !nodes.contains(Fails) && !nodes.contains(Refused) && !nodes.contains(Unreported);
        QCOMPARE(journal.filter(u"bus: tempdb"_s).size(), complete ? 1 : 0); // nobody is waited for
        if (!complete)
            QCOMPARE(Readings().size(), nodes.count(Answers) + nodes.count(Unnumbered));
    }

    void addressRegisteredTwice()
    {
        RadioWindow window(4);
        PacedRound round({u"a"_s, u"a"_s, u"b"_s}, PacedRound::Until::Answered, 1000, window);
        for (const auto* const next : {"a", "b", ""}) {
            QCOMPARE(round.Next().value_or(QString()), QString::fromLatin1(next));
            round.Accepted();
        }
        round.Answered(u"a"_s);
        QCOMPARE(round.Next(), u"a"_s);
    }

    void windowGrowsBack()
    {
        RadioWindow window(4);
        window.Shrink();
        for (int i = 0; i < 60; ++i) {
            QCOMPARE(window.Size(), std::min(4, 2 + i / 20));
            window.Succeeded();
        }
        QCOMPARE(window.Size(), 4);
    }

    void roundsGrowIt()
    {
        for (const auto until : {PacedRound::Until::Answered, PacedRound::Until::Reported}) {
            RadioWindow window(2);
            window.Shrink();
            QStringList uins;
            for (int i = 0; i < RadioWindow::SuccessesToGrow; ++i)
                uins.append(QString::number(i));
            PacedRound round(uins, until, 1000, window);
            for (const QString& uin : uins) {
                QCOMPARE(window.Size(), 1);
                QCOMPARE(round.Next(), uin);
                round.Accepted();
                round.Reported(uin, true);
                round.Answered(uin);
            }
            QCOMPARE(window.Size(), 2);
            QVERIFY(round.IsOver());
        }
    }

    void askedAgainAndClosed()
    {
        Begin("af", 4);
        Tick(QTime(8, 30));
        sends.clear();
        measures = true;
        Tick(QTime(8, 31));
        QCOMPARE(sends.join(u' '), u"0:2 15400:2"_s); // goes on at the report; the meter has its 15 s
        Tick(QTime(8, 32));
        QCOMPARE(journal.last(), u"bus: tempdb 2014-03-04-08-30-00.db 1/0 2/3"_s);
    }
};

QTEST_GUILESS_MAIN(tst_Pacing)
#include "tst_pacing.moc"
