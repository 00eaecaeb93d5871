// What the settings switch on beside the default conduct: each remedy without and with it.

#include "collectorbench.h"
#include "meteranswers.h"
#include "settingsfile.h"

using namespace Qt::StringLiterals;

class tst_FieldConduct : public CollectorBench {
    Q_OBJECT

    /// What `play` leaves, without the remedy and with it.
    template <class Play>
    void Compare(const QString& remedy, Play play, const QString& without, const QString& with)
    {
        for (const auto& [names, expected] : {std::pair(QString(), without), {remedy, with}}) {
            for (const QString& table : {u"\"Counters\""_s, u"\"Main_Data\""_s, u"time_table"_s})
                Sql("DELETE FROM "_L1 + table);
            VirtualTime::Advance(CurrentDateTime().msecsTo(QDateTime({2014, 3, 4}, {8, 29, 30})));
            buffer->DeleteAll();
            QStringList unknown;
            vars.field = FieldConduct::Of(names, unknown);
            journal.clear();
            QCOMPARE(play(), expected);
        }
    }

    void Hear(int node, const QByteArray& bytes) { collector->ReceivedUCAST(Node(node), bytes); }
    static QByteArray Frame(const QByteArray& payload) { return TCollector::ToC0C1(payload); }
    [[nodiscard]] QString Rows() { return Readings().join(u'|'); }

private slots:
    void initTestCase() { vars.RepeatQueryNumber = 1; }

    void names()
    {
        QStringList unknown;
        const FieldConduct some = FieldConduct::Of(u" ntp  none digits All"_s, unknown);
        QCOMPARE(unknown, Lines("none|All"));
        QVERIFY(some.Has(FieldConduct::Ntp) && some.Has(FieldConduct::Digits) && !some.Has(FieldConduct::Reports));
        const FieldConduct all = FieldConduct::Of(u"all"_s, unknown);
        QVERIFY(all.Has(FieldConduct::Reports) && all.Has(FieldConduct::Texts) && !all.Has(FieldConduct::Checksums));
        QVERIFY(!FieldConduct().Has(FieldConduct::Reports));
    }

    void pacing_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<int>("window");
        QTest::addColumn<QString>("problem");
        QTest::addRow("none") << "Remedies=\n"_ba << 0 << QString();
        QTest::addRow("window alone") << "Window=8\n"_ba << 0 << QString();
        QTest::addRow("answers") << "Pacing=answers\n"_ba << 4 << QString();
        QTest::addRow("answers, 8") << "Pacing=answers\nWindow=8\n"_ba << 8 << QString();
        QTest::addRow("another word") << "Pacing=Answers\n"_ba << 0 << u"Field/Pacing is neither"_s;
        QTest::addRow("0") << "Pacing=answers\nWindow=0\n"_ba << 4 << u"Field/Window is not from 1 to 8: 0. "_s;
        QTest::addRow("9") << "Pacing=answers\nWindow=9\n"_ba << 4 << u"Field/Window is not from 1 to 8: 9. "_s;
        QTest::addRow("a word") << "Pacing=answers\nWindow=two\n"_ba << 4 << u"Field/Window is not a number: \"two\""_s;
    }

    void pacing()
    {
        QFETCH(QByteArray, lines);
        QFETCH(QString, problem);
        SettingsFile settings(Write(Path(u"the.ini"_s), "[Field]\n" + lines));
        const FieldConduct conduct = FieldConduct::Read(settings);
        QTEST(conduct.Window(), "window");
        QCOMPARE(conduct.Has(FieldConduct::Reports), conduct.PacedByAnswers());
        QCOMPARE(settings.Problems().filter(problem).size(), problem.isEmpty() ? 0 : 1);
        QCOMPARE(settings.Problems().size(), problem.isEmpty() ? 0 : 1);
    }

    void reports()
    {
        const auto play = [this] {
            for (int n : {1, 2})
                RegisterNode(n, u"SET1"_s);
            vars.RepeatQueryNumber = 0;
            Create();
            Tick(QTime(8, 30));
            collector->zNACK(8); // of number 8, before the number is told
            collector->zAcceptUCAST(7);
            collector->zAcceptUCAST(8);
            Hear(1, Frame(MeterAnswers::EnergySET1({1, 2, 3, 4}, MeterAnswers::Checksum::Wrong)));
            collector->zACK(7); // delivered, but not decoded
            Tick(QTime(8, 31));
            const QString first = journal.last();
            Tick(QTime(9, 0));
            collector->zAcceptUCAST(7); // the other's was lost
            Tick(QTime(9, 30));
            collector->zAcceptUCAST(7);
            collector->zAcceptUCAST(8);
            collector->zACK(8);
            Tick(QTime(9, 31));
            return first + u'|' + journal.last();
        };
        Compare(u"reports"_s, play,
            u"bus: tempdb 2014-03-04-08-30-00.db 1/1 2/2|bus: tempdb 2014-03-04-09-30-00.db 1/2 2/255"_s,
            u"bus: tempdb 2014-03-04-08-30-00.db 1/1 2/3|bus: tempdb 2014-03-04-09-30-00.db 1/255 2/2"_s);
    }

    void ntp()
    {
        const auto play = [this](const char* script) {
            return [this, script] {
                RegisterNode(1, u"SET1"_s);
                FakeNtpq(script);
                vars.NtpServer = u"10.0.0.1"_s;
                Create();
                Tick(QTime(9, 15));
                return u"%1 %2 %3"_s.arg(Polling())
                    .arg(journal.contains(u"node 1 <- 0450"_s))
                    .arg(LogLines("No reference clock in this time sweep"));
            };
        };
        Compare(u"ntp"_s, play("exec sleep 60"), u"0 0 0"_s, u"1 1 1"_s);
        QStringList unknown;
        vars.field = FieldConduct::Of(u"ntp"_s, unknown);
        Sql(u"DELETE FROM \"Counters\""_s);
        QCOMPARE(play("echo '*10.0.0.9 .GPS. 1 u 33 64 377 0.512 5000 0.021'")(), u"1 1 2"_s);
        QCOMPARE(play("echo '*10.0.0.1 .GPS. 1 u 33 64 377 0.512 5000 0.021'")(), u"1 1 2"_s);
        QCOMPARE(ClockRows().size(), 1);

        // Not installed: nothing is left behind by the tries.
        Sql(u"DELETE FROM time_table"_s);
        qputenv("PATH", Path(u"nowhere"_s).toUtf8());
        const auto descriptors = [] { return QDir(u"/proc/self/fd"_s).count(); };
        Tick(QTime(10, 15));
        const uint before = descriptors();
        Tick(QTime(11, 15));
        QCOMPARE(descriptors(), before);
        QCOMPARE(LogLines("ntpq is not installed. No reference clock in this time sweep"), 2);
    }

    void readings()
    {
        const auto play = [this](const QString& model, const QByteArray& answer) {
            return [=, this] {
                RegisterNode(1, model);
                vars.RepeatQueryNumber = 0;
                Create();
                Tick(QTime(8, 30));
                Hear(1, answer);
                Tick(QTime(8, 31));
                return Rows();
            };
        };
        const QString when = u" 2014-03-04 08:30:00 "_s;
        const QString silent = u"1 0 0 0 0 0"_s + when;
        const auto wrong = MeterAnswers::Checksum::Wrong;
        Compare(u"ce102"_s, play(u"CE102"_s, Frame(MeterAnswers::EnergyCE102(1, 1234567))), silent + u'2',
            u"1 12345.7 0 0 0 0"_s + when + u'0');
        Compare(u"ce102"_s, play(u"CE102"_s, Frame(MeterAnswers::EnergyCE102(1, 1234567, wrong))), silent + u'2',
            silent + u'1');
        Compare(u"digits"_s, play(u"SET1"_s, Frame(MeterAnswers::EnergySET1({12345678, 0, 0, 0}))),
            u"1 123457 123457 0 0 0"_s + when + u'0', u"1 123456.781 123456.781 0 0 0"_s + when + u'0');
        Compare(u"checksums"_s, play(u"CE301"_s, Frame(MeterAnswers::EnergyCE301({100, 0, 0, 0}, wrong))),
            u"1 1 1 0 0 0"_s + when + u'0', silent + u'1');
        Compare(u"checksums"_s, play(u"CE301"_s, Frame(MeterAnswers::EnergyCE301({100, 0, 0, 0}))),
            u"1 1 1 0 0 0"_s + when + u'0', u"1 1 1 0 0 0"_s + when + u'0');
    }

    // Whoever is not in the register now may be in it when the sweep is closed.
    void memory()
    {
        const auto play = [this] {
            RegisterNode(1, u"SET1"_s);
            vars.RepeatQueryNumber = 0;
            Create();
            Tick(QTime(8, 30));
            for (int n : {1, 2})
                Hear(n, MeterAnswers::Alarm());
            RegisterNode(2, u"SET1"_s);
            Tick(QTime(8, 31));
            return journal.last();
        };
        const QString sweep = u"bus: tempdb 2014-03-04-08-30-00.db 1/2 2/"_s;
        Compare(u"memory"_s, play, sweep + u'2', sweep + u'0');
    }

    void fragments()
    {
        const auto play = [this] {
            RegisterNode(1, u"SET1"_s);
            vars.RepeatQueryNumber = 0;
            Create();
            Tick(QTime(8, 30));
            const QByteArray first = Frame(MeterAnswers::EnergySET1({1, 0, 0, 0}));
            Hear(1, first.sliced(5)); // its head was lost
            Hear(1, "\xC0no end"_ba);
            Tick(QTime(9, 0));
            Hear(1, "\xC1" + Frame(MeterAnswers::EnergySET1({2, 0, 0, 0})));
            const QString kept = QString::number(buffer->GetUCAST(Node(1)).size());
            Hear(1, "\xC0" + QByteArray(5000, 'x'));
            return Readings().last() + u' ' + kept + u' ' + QString::number(buffer->GetUCAST(Node(1)).size());
        };
        Compare(u"fragments"_s, play, u"1 0.02 0.02 0 0 0 2014-03-04 09:00:00 0 17 5001"_s,
            u"1 0.02 0.02 0 0 0 2014-03-04 09:00:00 0 0 0"_s);
    }

    void stamps()
    {
        const auto play = [this] {
            RegisterNode(1, u"SET1"_s);
            vars.RepeatQueryNumber = 0;
            vars.RepeateQueryKTPNumber = 1;
            Create();
            Tick(QTime(8, 30));
            Tick(QTime(8, 31));
            AnswerDuringWait(waits + 1, 1, MeterAnswers::EnergySET1({1, 0, 0, 0})); // before it is read out again
            Tick(QTime(9, 0));
            duringWait = nullptr;
            return Readings().filter(u"0.01"_s).join(u'|');
        };
        Compare(u"stamps"_s, play, u"1 0.01 0.01 0 0 0 2014-03-04 09:00:00 0"_s,
            u"1 0.01 0.01 0 0 0 2014-03-04 08:30:00 0"_s);
    }

    void schedule()
    {
        const auto play = [this] {
            RegisterSubstation(u"SET3"_s);
            Create();
            Tick(QTime(8, 59, 50));
            QStringList begun;
            for (const QTime time : {QTime(9, 0, 5), QTime(9, 0, 40), QTime(10, 10), QTime(10, 11)}) {
                Tick(time);
                begun += QString::number(journal.count(u"Begin questioning..."_s));
            }
            return begun.join(u' ') + u' ' + QString::number(LogLines("and not made"));
        };
        Compare(u"schedule"_s, play, u"1 1 0 0 1"_s, u"1 0 0 1 1"_s);
    }

    void order()
    {
        const auto play = [this] {
            RegisterNode(1, u"SET1"_s);
            RegisterSubstation(u"SET3"_s);
            vars.RepeatQueryNumber = 1;
            vars.BCAST_to_UCAST_Delay = vars.UCAST_to_UCAST_Delay = 0;
            Create();
            QStringList done;
            const auto tick = [&](const QDateTime& time) {
                Tick(time);
                for (const QString& line : std::as_const(journal))
                    if (line.startsWith("bus: "_L1) || line == "Begin questioning..."_L1 || line == "node 1 <- 0450"_L1)
                        done.append(line.section(u' ', 0, 2));
                done.append(u"-"_s);
            };
            tick({{2014, 3, 4}, {9, 0}});
            tick({{2014, 3, 4}, {9, 15}}); // a time sweep is due while the query sweep is open
            tick({{2014, 3, 4}, {9, 16}});
            tick({{2014, 3, 4}, {9, 17}});
            return done.join(u'|');
        };
        Compare(u"order"_s, play,
            u"Begin questioning...|-|node 1 <-|-|Begin questioning...|bus: tempdb_t time_2014-03-04-09-00-00.db|-|-"_s,
            u"Begin questioning...|-|-|node 1 <-|node 1 <-|bus: tempdb 2014-03-04-09-00-00.db|-|"
            "bus: tempdb_t time_2014-03-04-09-00-00.db|-"_s);

        const auto nobodyToAsk = [this] {
            RegisterSubstation(u"SET3"_s);
            Create();
            Tick(QTime(9, 15));
            const QString first = journal.join(u'|');
            Tick(QTime(9, 16));
            return first + u'|' + journal.join(u'|');
        };
        Compare(u"order"_s, nobodyToAsk, u"|Observed reading!|all <- c0c1|bus: tempdb 2014-03-04-'now'.db "_s,
            u"Observed reading!|all <- c0c1|bus: tempdb_t time_2014-03-04-'now'.db 9/0|all <- c0c1"_s);

        const auto pastMidnight = [this] {
            RegisterNode(1, u"SET1"_s);
            RegisterSubstation(u"SET3"_s);
            Create();
            Tick({{2014, 3, 4}, {23, 15}});
            Tick({{2014, 3, 5}, {0, 1}});
            return journal.last();
        };
        Compare(u"order"_s, pastMidnight, u"bus: tempdb_t time_2014-03-04-'now'.db "_s,
            u"bus: tempdb_t time_2014-03-04-'now'.db 9/0"_s);
    }

    void substation()
    {
        const auto play = [this] {
            vars.RepeateQueryKTPNumber = 2;
            Create();
            Tick(QTime(8, 30));
            const QString sweep = journal.join(u'|');
            RegisterSubstation(u"SET3"_s);
            collector->zError(5);
            NoteBus();
            return sweep + u'|' + journal.last().section(u' ', 2);
        };
        const QString tries = u"Read database failed: |wait 10000|"_s.repeated(2) + u"Read database failed: |"_s;
        Compare(u"substation"_s, play,
            "Begin questioning...|all <- c001c1|"_L1 + tries
                + "Not received data from KTP|wait 15000|all <- c0c1|Error-2014-03-04-08-30-35-0 "
                  "0#2014-03-04 08:30:35#ERROR:5#\n"_L1,
            u"Begin questioning...|all <- c001c1|wait 15000|all <- c0c1|Error-2014-03-04-08-30-15-9 "
            "9#2014-03-04 08:30:15#ERROR:5#\n"_s);
    }

    void clocks()
    {
        const auto setting = [this] {
            RegisterNode(1, u"CE301"_s);
            RegisterNode(2, u"SET1"_s);
            vars.TimeOfQuery = u"never"_s;
            Create();
            Tick({{2014, 3, 9}, {0, 0, 7}});
            return QString::number(journal.filter(u"node 1 <- 040157"_s).size())
                + QString::number(journal.filter(u"node 2 <- 040157"_s).size())
                + QString::number(journal.filter(u"all <- c008"_s).size());
        };
        Compare(u"clocks"_s, setting, u"110"_s, u"101"_s);
        const auto invalid = [this] {
            RegisterNode(1, u"SET1"_s);
            Create();
            Hear(1, "\xC0\x82P\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xC1"_ba);
            return QString::number(ClockRows().size());
        };
        Compare(u"clocks"_s, invalid, u"1"_s, u"0"_s);
    }

    void texts()
    {
        const auto play = [this](const QByteArray& text, bool asked) {
            return [=, this] {
                RegisterNode(1, u"CE301"_s);
                RegisterSubstation(u"SET3"_s);
                Create();
                if (asked)
                    Tick(QTime(9, 15));
                for (int times = 0; times < 2; ++times)
                    Hear(1, "\xC0TIME_(" + text + ")\xC1");
                return QString::number(ClockRows().size() - 1);
            };
        };
        Compare(u"texts"_s, play("09:15:00", true), u"2"_s, u"1"_s);
        Compare(u"texts"_s, play("09:15:00", false), u"2"_s, u"0"_s);
        Compare(u"texts"_s, play(QByteArray(33, '1'), true), u"2"_s, u"0"_s);
        Compare(u"texts"_s, play("09:\x01", true), u"2"_s, u"0"_s);
    }

    void numbers()
    {
        const auto play = [this] {
            RegisterNode(1, u"SET1"_s, u"258"_s);
            Create();
            collector->SendCountersNumbers();
            return journal.join(u'|');
        };
        Compare(u"numbers"_s, play, u"|wait 5000"_s, u"node 1 <- c00702010000c1|wait 5000"_s);
    }

    void alarms()
    {
        const auto play = [this] {
            RegisterNode(1, u"SET1"_s);
            Create();
            Tick(QTime(8, 30));
            journal.clear();
            Hear(1, MeterAnswers::Alarm() + Frame(MeterAnswers::EnergySET1({1, 2, 3, 4})));
            Hear(5, MeterAnswers::Alarm());
            NoteBus();
            return journal.join(u'|') + u' '
                + QString::number(LogLines("node 000D6F0000000005 is not in the register"));
        };
        Compare(u"alarms"_s, play, u"Can not read database 0"_s,
            u"Open the case: 1|node 1 send data: 0.1 kW*h|"
            "bus: error Error-2014-03-04-08-30-25-1 1#2014-03-04 08:30:25#ERROR:55#\n|"
            "bus: error Error-2014-03-04-08-30-25-0 0#2014-03-04 08:30:25#ERROR:55#\n 1"_s);
    }
};

QTEST_GUILESS_MAIN(tst_FieldConduct)
#include "tst_fieldconduct.moc"
