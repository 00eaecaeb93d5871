#include "clock.h"
#include "ending.h"
#include "files.h"
#include "log.h"
#include "portlock.h"
#include "terminal.h"
#include "virtualtime.h"
#include "zigbee.h"

#include <QAbstractEventDispatcher>
#include <QLockFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>

#include <poll.h>

using namespace Qt::StringLiterals;

using Lines = QList<QByteArray>;
using Answers = QMap<QByteArray, QByteArray>;

namespace {

const QDateTime Start(QDate(2014, 3, 4), QTime(8, 29, 30));
constexpr int SilenceMs = 50;

const auto Identity = "\r\nR302X\r\n000D6F00001733EB\r\nOK\r\n"_ba;
const auto Announcement = "at+bcastb:13,00\r\xC0\x05" + "000D6F00001733EB\xC1"_ba;

} // namespace

class tst_RadioLink : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<TLog> log;
    std::unique_ptr<PseudoTerminal> line; // the modem's end
    std::optional<ZigBee> modem;
    Answers answers;
    Lines written; // by the driver, each with its time in ms
    qint64 lastAct = 0;
    QByteArray settings; // of the line, before this side reads

    [[nodiscard]] QString Port() const { return directory->filePath(u"modem"_s); }

    void Plug()
    {
        line = std::make_unique<PseudoTerminal>();
        QString error;
        QVERIFY2(line->Open(Port(), error), qPrintable(error));
    }

    /// A driver at work on a modem that answers whenever the driver has waited.
    void Begin(const Answers& whatItAnswers = {}, FieldConduct conduct = {})
    {
        answers = whatItAnswers;
        Plug();
        modem.emplace(nullptr, Port(), true, conduct);
    }

    void Act()
    {
        if (settings.isEmpty())
            settings = LineSettings();
        const QByteArray bytes = Heard(1, SilenceMs);
        if (!bytes.isEmpty())
            written += QByteArray::number(lastAct) + ' ' + bytes;
        lastAct = Start.msecsTo(CurrentDateTime());
        SayTo(*line, answers.value(bytes));
    }

    [[nodiscard]] QByteArray Heard(qsizetype size, int patienceMs = 5000)
    {
        QByteArray bytes;
        pollfd end{line->Descriptor(), POLLIN, 0};
        while (bytes.size() < size && ::poll(&end, 1, patienceMs) == 1)
            bytes += line->Read();
        return bytes;
    }

    /// What the driver has written and writes as the line drains.
    [[nodiscard]] QByteArray Drained()
    {
        QByteArray bytes;
        for (qsizetype before = -1; before != bytes.size(); QCoreApplication::processEvents()) {
            before = bytes.size();
            bytes += Heard(1, SilenceMs);
        }
        return bytes;
    }

    [[nodiscard]] Lines Table() const
    {
        Lines lines;
        for (const ZDevice* node = modem->Nodes(); node; node = node->Next)
            lines += node->UIN + ' ' + node->Type.toUtf8();
        return lines;
    }

    /// The log without its times, the port's path shortened.
    [[nodiscard]] QStringList LogTexts() const
    {
        static const QRegularExpression times(u"^.{24}"_s, QRegularExpression::MultilineOption);
        const QString lines = QString::fromUtf8(Contents(log->Path())).remove(times);
        return QString(lines).replace(Port(), u"PORT"_s).split(u'\n', Qt::SkipEmptyParts);
    }

private slots:
    void init()
    {
        VirtualTime::Reset(Start);
        VirtualTime::WhileWaiting([this] { Act(); });
        directory = std::make_unique<QTemporaryDir>();
        log = std::make_unique<TLog>(directory->filePath(u"log"_s));
        pLog = log.get();
    }

    void cleanup()
    {
        modem.reset();
        pLog = nullptr;
        written.clear();
        settings.clear();
        lastAct = 0;
    }

    void startUpAndReset()
    {
        const Lines fresh{"000D6F00001733EB Main Device"};
        Begin({{"ati\r\n", Identity}, {"at+sn\r\n", "\r\nOK\r\n\r\nCOO:000D6F0000001000\r\n"}});
        QCOMPARE(Table(), fresh);
        QCOMPARE(settings, "19200 8N1"_ba);
        Act();
        modem->UpdateZNetwork();
        QCOMPARE(Table(), fresh + Lines{"000D6F0000001000 COO:"});
        answers["ati\r\n"] = "\r\nR303X\r\n000D6F0000FFFFFF\r\n"; // the modem was exchanged
        modem->Reset();
        QCOMPARE(Table(), Lines{"000D6F0000FFFFFF Main Device"});
        QCOMPARE(modem->MainUIN, "000D6F0000FFFFFF"_ba);
        QCOMPARE(modem->ModemVersion, 303);
        QCOMPARE(written,
            (Lines{"0 atz\r\n", "5000 ati\r\n", "6000 atz\r\n", "11200 at+jn\r\n", "12200 at+en\r\n", "13200 at+sn\r\n",
                "13200 atz\r\n", "18200 ati\r\n", "19200 atz\r\n", "24400 at+jn\r\n", "25400 at+en\r\n"}));
    }

    void identity()
    {
        const auto check = [this](const QByteArray& answer, const QByteArray& expected) {
            Begin({{"atz\r\n", QByteArray(80, '?')}, {"ati\r\n", answer}});
            QCOMPARE(QByteArray::number(modem->ModemVersion) + '|' + modem->MainUIN, expected);
            QCOMPARE(modem->Nodes()->UIN, modem->MainUIN);
        };
        check("ati\r\r\nR123X\r\n000D6F00001733EB\r\nOK\r\n", "123|000D6F00001733EB"); // noise before it
        check("\r\nR\r\n1X\r\n000D6F00001733EB\r\n", "1|000D6F00001733EB"); // a line end inside the version
        check("\r\n456abc\r000D6F00001733EB\r\nOK\r\n", "456|\r000D6F00001733E"); // no version line: fixed places
        check("\r\nr123X\r\n000D6F00001733EB", "0|\n000D6F00001733E"); // lower case is no version line either
        check("\r\nR123X\r\n000D\0F00001733EB"_ba, "123|000D"); // a zero byte ends the text, as does its 80th byte
        check(QByteArray(62, 'x') + "\r\nR123X\r\n000D6F00001733EB\r\n", "123|000D6F000");
        QCOMPARE(modem->GetMessageFromModem(), "01733EB\r\n" + QByteArray(80, '?')); // and stays for the next read
        check("", "0|");
    }

    // What came before the question is shown, the answer is not.
    void askedForItsAddress()
    {
        Begin({{"ati\r\n", Identity}});
        Lines shown;
        connect(&*modem, &ZigBee::Received, this, [&](const QByteArray& data) { shown += data; });
        Act();
        SayTo(*line, "\r\nOK\r\n");
        QCOMPARE(modem->GetModemUIN(), "000D6F00001733EB"_ba);
        QCOMPARE(shown, Lines{"\r\nOK\r\n"});
        QCOMPARE(modem->SendMainUIN(),
            "\xC0\x05"
            "000D6F00001733EB\xC1"_ba);
    }

    void unicastLengths()
    {
        Begin();
        for (const QByteArray& message : {""_ba, "\0\r\n\xC0"_ba, QByteArray(255, 'x'), QByteArray(256, 'y')})
            modem->SendMessageToZDevice("000D6F0000001000", message);
        const QByteArray expected = "at+sn\r\nat+ucastb:00,000D6F0000001000\r"
                                    "at+ucastb:04,000D6F0000001000\r\0\r\n\xC0"
                                    "at+ucastb:ff,000D6F0000001000\r"_ba
            + QByteArray(255, 'x') + "at+ucastb:00,000D6F0000001000\r" + QByteArray(256, 'y');
        QCOMPARE(Heard(expected.size()), expected);
    }

    void pollSignals()
    {
        Begin({{"ati\r\n", Identity}});
        Lines heard;
        const auto message = [&](const char* what) {
            return [&heard, what](const QByteArray& uin, const QByteArray& text) { heard += what + uin + ' ' + text; };
        };
        const auto number = [&](const char* what) {
            return [&heard, what](int i) { heard += what + QByteArray::number(i); };
        };
        connect(&*modem, &ZigBee::Received, this, [&](const QByteArray& data) { number("raw ")(int(data.size())); });
        connect(&*modem, &ZigBee::NewNode, this,
            [&](const QByteArray& uin) { message("new ")(uin, modem->SearchZDeviceFromUIN(uin).toUtf8()); });
        connect(&*modem, &ZigBee::ReceivedUCAST, this, message("unicast "));
        connect(&*modem, &ZigBee::ReceivedBCAST, this, message("broadcast "));
        connect(&*modem, &ZigBee::ReceivedACK, this, number("ack "));
        connect(&*modem, &ZigBee::ReceivedNACK, this, number("nack "));
        connect(&*modem, &ZigBee::AcceptUCAST, this, number("accept "));
        connect(&*modem, &ZigBee::Error, this, number("error "));

        SayTo(*line,
            "\r\nERROR:1A\r\n+UCASTB:01\r\nACK:02\r\nNACK:03\r\nBCAST:000D6F0000001001=b\r\n"
            "UCAST:000D6F0000001000,02:\0u\r\n"_ba);
        modem->timer_event();
        // The table refuses the address of zeros, so it is new at every scan. The modem's own is a node like any other.
        SayTo(*line, "FFD:0000000000000000\r\nFFD:000D6F00001733EB\r\n");
        modem->timer_event();
        modem->timer_event();
        QCOMPARE(heard,
            (Lines{"raw 97", "new 000D6F0000001000 NEWNODE", "unicast 000D6F0000001000 \0u"_ba,
                "new 000D6F0000001001 NEWNODE", "broadcast 000D6F0000001001 \0ub"_ba, "ack 2", "nack 3", "accept 1",
                "error 26", "raw 44", "new 0000000000000000 none", "new 000D6F00001733EB FFD:"}));
    }

    void pollTimer()
    {
        Begin();
        const auto timers = modem->findChildren<QTimer*>();
        QCOMPARE(timers.size(), 1);
        QVERIFY(timers.first()->isActive());
        QCOMPARE(timers.first()->interval(), 500);
        SayTo(*line, "FFD:000D6F0000001000\r\n");
        QVERIFY(QMetaObject::invokeMethod(timers.first(), "timeout"));
        QCOMPARE(Table(), (Lines{" Main Device", "000D6F0000001000 FFD:"}));
    }

    // A receiver may let the event loop run, and the poll timer with it.
    void pollInsidePoll()
    {
        Begin();
        int told = 0;
        connect(&*modem, &ZigBee::NewNode, this, [&] {
            if (++told == 1) {
                SayTo(*line, "SED:000D6F0000001001\r\n");
                modem->timer_event();
            }
        });
        SayTo(*line, "FFD:000D6F0000001000\r\nFFD:000D6F0000001001\r\n");
        modem->timer_event();
        QCOMPARE(Table(), (Lines{" Main Device", "000D6F0000001000 FFD:", "000D6F0000001001 SED:"}));
        QCOMPARE(told, 2);
    }

    // The system hands out 4 KiB a read at most; a poll that stopped there would cut a line.
    void everythingAfterALongWait()
    {
        Begin();
        SayTo(*line, QByteArray(4000, 'x'));
        const qsizetype sent = 4000 + line->Write(QByteArray(4000, 'y'));
        ::poll(nullptr, 0, SilenceMs);
        QCOMPARE(modem->GetMessageFromModem().size(), sent);
    }

    // The event loop takes over what comes, but not for ever.
    void nobodyReads()
    {
        constexpr qsizetype Much = 2'000'000;
        Begin();
        modem->findChild<QTimer*>()->stop();
        qsizetype taken = 0;
        for (int idle = 0; idle < 4 * SilenceMs && taken < Much; ++idle) {
            if (const qsizetype size = line->Write(QByteArray(4000, 'x')); size > 0) {
                taken += size;
                idle = 0;
            }
            ::poll(nullptr, 0, 1);
            QCoreApplication::processEvents();
        }
        QVERIFY2(taken >= 1'048'576 && taken < 1'100'000, qPrintable(QString::number(taken)));
    }

    void portGoneAndBack()
    {
        const QString missing = u"Cannot open the modem port PORT: No such file or directory"_s;
        Begin({{"ati\r\n", Identity}});
        modem->SendBroadcastMessageToZDevice(QByteArray(60'000, 'x'));
        line.reset();
        int rounds = 0; // endless on a line that hung up and is still watched
        while (QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents) && rounds < 100)
            ++rounds;
        QVERIFY(rounds < 100);
        for (int i = 0; i < 2; ++i) {
            modem->SendMainUIN();
            modem->timer_event();
        }
        const QStringList texts{u"The modem port PORT broke: the line was hung up"_s, missing};
        QCOMPARE(LogTexts(), texts);

        Plug();
        modem->timer_event();
        modem->SendMainUIN();
        QCOMPARE(Heard(35), Announcement);
        SayTo(*line, "\r\n");
        modem->timer_event();
        QCOMPARE(LogTexts(), texts + QStringList{u"The modem port PORT works again"_s});
    }

    void startedAnew()
    {
        for (const auto& [remedy, errors] : {std::pair(""_L1, 0), {"modem"_L1, 3}}) {
            QStringList unknown;
            Begin({{"ati\r\n", Identity}}, FieldConduct::Of(remedy, unknown));
            Act(); // the scan
            written.clear();
            int told = 0;
            connect(&*modem, &ZigBee::Error, this, [&](quint16 code) { told += code == 256 ? 1 : 0; });
            const auto sendAndPoll = [&](int messages) {
                for (int i = 0; i < messages; ++i)
                    modem->SendMessageToZDevice("000D6F0000001000", {});
                modem->timer_event();
                return Heard(1, SilenceMs).count(Announcement);
            };
            QCOMPARE(sendAndPoll(9), 0);
            QCOMPARE(sendAndPoll(1), errors / 3);
            QCOMPARE(told, errors / 3);
            SayTo(*line, "\r\n");
            QCOMPARE(sendAndPoll(10), 0); // it said something
            line.reset();
            for (int i = 0; i < 2; ++i)
                QCOMPARE((modem->timer_event(), told), errors / 3);
            Plug();
            QCOMPARE(sendAndPoll(1), errors / 3);
            QCOMPARE(told, errors / 3 * 2);
            const auto sayAndPoll = [&](const QByteArray& words) {
                SayTo(*line, words);
                return sendAndPoll(0);
            };
            QCOMPARE(sayAndPoll(QByteArray("\r\nERROR:08\r\n").repeated(9)), 0);
            QCOMPARE(sayAndPoll("\r\nERROR:08\r\n"), errors / 3);
            QCOMPARE(sayAndPoll(QByteArray("\r\nERROR:08\r\n").repeated(10)), 0); // once, until it accepts one
            sayAndPoll("\r\n+UCASTB:01\r\n");
            QCOMPARE(told, errors);
        }
    }

    void lockFileInTheWay()
    {
        const QString file = PortLock::FileOf(Port());
        QLockFile other(file);
        QVERIFY(other.tryLock());
        Begin();
        const QString reason =
            u"locked by process %1, lock file %2"_s.arg(QCoreApplication::applicationPid()).arg(file);
        QCOMPARE(LogTexts(), QStringList{u"Cannot open the modem port PORT: "_s + reason});
        other.unlock();
        modem->timer_event();
        QVERIFY(QFile::exists(file));
        Ending::Close();
        QVERIFY(!PortLock::Find(Port()));

        const auto found = [&](const QByteArray& contents) {
            Write(file, contents);
            return PortLock::Find(Port())->Text();
        };
        QCOMPARE(found("         1\n"), u"locked by process 1, lock file "_s + file); // as other programs write it
        QCOMPARE(found("9999999\nx\n"), u"locked by process 9999999, which has ended, lock file "_s + file);
        QCOMPARE(found(""), u"locked, lock file "_s + file);
        QFile::remove(file);
        QVERIFY(PortLock::FileOf(u"/dev/serial/x"_s).endsWith("lock/LCK..serial_x"_L1));
    }

    // What is kept for it are whole frames, the first ones.
    void nobodyDrains()
    {
        Begin();
        for (int i = 0; i < 200; ++i) {
            modem->WriteToPort(QByteArray(1000, static_cast<char>('A' + i % 26)));
            QCoreApplication::processEvents();
        }
        // Once, and once more whenever the system took a little of it meanwhile.
        const QStringList told = LogTexts();
        QVERIFY(!told.isEmpty() && told.size() < 10);
        QCOMPARE(told.count(u"The modem port PORT takes no more data, 1000 bytes dropped"_s), told.size());

        const QByteArray drained = Drained();
        QVERIFY(drained.size() >= 65'007 && drained.size() < 150'000 && drained.size() % 1000 == 7);
        QVERIFY(drained.startsWith("at+sn\r\nAAA"));
        for (qsizetype i = 7; i < drained.size(); i += 1000)
            QCOMPARE(drained.mid(i, 1000), QByteArray(1000, drained.at(i))); // whole or not at all

        // The bound is for what waits already, not for what comes to it.
        for (const auto& [size, byte] : {std::pair(200'000, 'a'), std::pair(1, 'b')})
            modem->WriteToPort(QByteArray(size, byte));
        QVERIFY(Drained() == QByteArray(200'000, 'a'));
        for (const auto& [size, byte] : {std::pair(60'000, 'a'), std::pair(200'000, 'b')})
            modem->WriteToPort(QByteArray(size, byte));
        QVERIFY(Drained() == QByteArray(60'000, 'a') + QByteArray(200'000, 'b'));
    }
};

QTEST_GUILESS_MAIN(tst_RadioLink)
#include "tst_radiolink.moc"
