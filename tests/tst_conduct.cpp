// What the daemon does by default, to the byte: a day of a small site with many faults, in virtual time, as one text.
// Its digest stands here. scripts/conduct compares the whole text with that of another commit.

#include "collectorbench.h"
#include "meternode.h"
#include "modemengine.h"
#include "modemparser.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QHashFunctions>

using namespace Qt::StringLiterals;

class tst_Conduct : public CollectorBench {
    Q_OBJECT

    std::unique_ptr<ModemEngine> modem;
    AnswerReport report;
    QDateTime begin;

    [[nodiscard]] Moment Now() const { return std::chrono::milliseconds(begin.msecsTo(CurrentDateTime())); }

    void AddNode(
        int n, const QString& model, const std::function<void(NodeFaults&)>& spoil = [](NodeFaults&) {})
    {
        NodeFaults faults;
        spoil(faults);
        RegisterNode(n, model, QString::number(70000 + n));
        const RegisteredMeter meter{Node(n), QByteArray::number(70000 + n), FindDialect(model.toLatin1()), false};
        auto node = std::make_unique<MeterNode>(meter, faults, Conditions{begin, 3, 200}, report);
        const QList<NodeAnswer> alarms = node->Alarms();
        modem->AddNode(Node(n), "FFD:"_ba, std::move(node));
        for (const NodeAnswer& alarm : alarms)
            modem->SendFrom(Node(n), alarm, Moment(0));
    }

    void Tell(const QByteArray& line, const QByteArray& message)
    {
        const QByteArray length = QByteArray(1, static_cast<char>(message.size())).toHex();
        modem->Receive("at+" + QByteArray(line).replace("LL", length) + '\r' + message, Now());
    }

    /// What the modem has said by now, as one chunk.
    void Poll()
    {
        QByteArray chunk;
        for (std::optional<Moment> due; (due = modem->NextDue()) && *due <= Now();)
            chunk += modem->Take(*due);
        ParseModemChunk(
            chunk, [](const QByteArray&) { return true; },
            [this](const ModemEvent::Any& event) { std::visit([this](const auto& known) { Hear(known); }, event); });
    }

    void Hear(const ModemEvent::NodeFound&) { }
    void Hear(const ModemEvent::Unicast& event) { collector->ReceivedUCAST(event.uin, event.payload); }
    void Hear(const ModemEvent::Broadcast& event) { collector->ReceivedBCAST(event.uin, event.payload); }
    void Hear(ModemEvent::Delivered event) { collector->zACK(event.number); }
    void Hear(ModemEvent::NotDelivered event) { collector->zNACK(event.number); }
    void Hear(ModemEvent::Accepted event) { collector->zAcceptUCAST(event.number); }
    void Hear(ModemEvent::Refused event) { collector->zError(event.code); }

    /// Ticks until then, 25 s after one another's end, and the modem polled twice a second.
    void PlayUntil(const QDateTime& end)
    {
        while (CurrentDateTime() < end) {
            for (int i = 0; i < 50; ++i) {
                VirtualTime::Advance(500);
                Poll();
            }
            collector->timer_event();
            NoteBus();
        }
    }

private slots:
    void initTestCase()
    {
        qputenv("TZ", "UTC");
        QHashSeed::setDeterministicGlobalSeed(); // sets are walked in the same order
    }

    void day()
    {
        begin = CurrentDateTime();
        modem = std::make_unique<ModemEngine>(
            ModemTraits{.seed = 5, .nack = 0.05, .loss = 0.05, .garbage = 0.02, .fragmentation = 0.02});
        AddNode(1, u"CE301"_s);
        AddNode(2, u"SET3"_s, [](auto& node) { node.pieces = 3; });
        AddNode(3, u"SET1"_s, [](auto& node) { node.glued = true; });
        AddNode(4, u"CE102"_s);
        AddNode(5, u"SET1"_s, [](auto& node) { node.undecodable = Flaw::Checksum; });
        AddNode(6, u"SET3"_s, [this](auto& node) {
            node.late = std::chrono::seconds(12);
            node.alarms = {begin.addSecs(5000), begin.addSecs(60000)};
        });
        AddNode(7, u"CE301"_s, [](auto& node) {
            node.every = 2;
            node.nack = 0.3;
        });
        AddNode(8, u"SET3"_s, [](auto& node) { node.silent = true; });
        Register(9, "KTP"_ba, u"70000"_s, u"SET3"_s, 1);
        OpenSubstation(QByteArray::fromHex("7011011210270000102700001027000010270000"));
        FakeNtpq("echo '*10.0.0.1 .GPS. 1 u 33 64 377 0.512 5000 0.021'");
        vars.RepeatQueryNumber = 3;
        vars.RepeateQueryKTPNumber = 1;
        vars.TimeOfQuery = u":[30]0$"_s;
        vars.TimeOfSetTime = u"00:00$"_s;
        vars.TimeOfGetTime = u"00:15$"_s;
        Create();
        connect(collector.get(), &TCollector::SendBroadcastMessage, this,
            [this](const QByteArray& message) { Tell("bcastb:LL,00"_ba, message); });
        connect(collector.get(), &TCollector::SendMessage, this,
            [this](const QByteArray& uin, const QByteArray& message) { Tell("ucastb:LL," + uin, message); });
        duringWait = [this] {
            QMetaObject::invokeMethod(
                this, [this] { Poll(); }, Qt::QueuedConnection);
        };

        PlayUntil(begin.addSecs(3600));
        substation.reset(); // unplugged
        PlayUntil(begin.addDays(qEnvironmentVariable("RAVELIN_CONDUCT_DAYS", u"1"_s).toInt()));
        const QByteArray text = (journal + Readings() + ClockRows()).join(u'\n').toUtf8() + '\n';
        Write(qEnvironmentVariable("RAVELIN_CONDUCT_FILE", u"conduct.txt"_s), text);
        if (qEnvironmentVariableIsEmpty("RAVELIN_CONDUCT_FILE"))
            QCOMPARE(QCryptographicHash::hash(text, QCryptographicHash::Sha256).toHex(),
                "c4e68f6f4d83a9232c0dfd1d4932da06c18d47c25473c6b747a018f5859da2b4"_ba);
    }
};

QTEST_GUILESS_MAIN(tst_Conduct)
#include "tst_conduct.moc"
