#include "ending.h"
#include "files.h"
#include "frame.h"
#include "localsocket.h"
#include "log.h"
#include "ravelin.h"
#include "terminal.h"
#include "virtualtime.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

class tst_Ravelin : public QObject {
    Q_OBJECT

    QTemporaryDir directory;

    [[nodiscard]] QString Path(const QString& name) const { return directory.filePath(name); }

    /// What comes until the line has been silent for a while.
    static QByteArray Heard(PseudoTerminal& line)
    {
        constexpr int SilenceMs = 50;
        QByteArray bytes;
        pollfd end{line.Descriptor(), POLLIN, 0};
        while (::poll(&end, 1, SilenceMs) == 1)
            bytes += line.Read();
        return bytes;
    }

private slots:
    void init() { qputenv("XDG_STATE_HOME", directory.path().toUtf8()); }
    void cleanup() { delete std::exchange(pLog, nullptr); }

    void files_data()
    {
        QTest::addColumn<QByteArrayList>("files"); // one after the other
        QTest::addColumn<QString>("values");

        QTest::addRow("numbers beyond their fields")
            << QByteArrayList{"[Main]\nBCAST_to_UCAST_Delay=65537\nUCAST_to_UCAST_Delay=-1\n"
                              "RepeateQueryKTPNumber=256\nRepeatQueryNumber=-1\n"}
            << u"1 65535 0 255 /dev/ttyUSB0 :[30]0$ sqlite3 db/z.db -1 postgres "_s;
        QTest::addRow("the later file stands alone")
            << QByteArrayList{"[Main]\nPortKS=/dev/a\nTimeOfQuery=a\n[Base]\nBaseName=a\n", "[Main]\nPortKS=/dev/b\n"}
            << u"15000 10000 15 5 /dev/b :[30]0$ sqlite3 db/z.db -1 postgres "_s;
        const QByteArray base =
            Write(directory.filePath(u"base.ini"_s), "[Base]\nBaseName=there\nSqlPort=5433\nBDType=postgres\n")
                .toUtf8();
        QTest::addRow("database keys of another file")
            << QByteArrayList{"[Base]\nBaseName=here\nSqlLogin=here\nSqlPassword=here\nBaseIni=" + base + '\n'}
            << u"15000 10000 15 5 /dev/ttyUSB0 :[30]0$ postgres there 5433 postgres "_s;
    }

    void files()
    {
        QFETCH(QByteArrayList, files);
        Ravelin controller;
        for (const QByteArray& file : files)
            QVERIFY(controller.LoadSettings(Write(directory.filePath(u"a.ini"_s), file)));
        const SysVar& v = controller.LoadedSettings();
        QString values;
        QTextStream(&values) << v.BCAST_to_UCAST_Delay << ' ' << v.UCAST_to_UCAST_Delay << ' '
                             << v.RepeateQueryKTPNumber << ' ' << v.RepeatQueryNumber << ' ' << v.PortKS << ' '
                             << v.TimeOfQuery << ' ' << v.BDType << ' ' << v.BaseName << ' ' << v.SqlPort << ' '
                             << v.SqlLogin << ' ' << v.SqlPassword;
        QTEST(values, "values");
    }

    void emptyNameReadsTwoFiles()
    {
        Ravelin controller;
        const QString besideProgram = Write(QCoreApplication::applicationFilePath() + ".ini"_L1,
            "[Main]\nPortKS=/dev/beside\n[Base]\nLog=1\nLogName=" + directory.filePath(u"the.log"_s).toUtf8() + '\n');
        controller.LoadSettings({});
        QFile::remove(besideProgram);
        QCOMPARE(controller.LoadedSettings().PortKS, u"/dev/beside"_s);
        QVERIFY(pLog->Path() != directory.filePath(u"the.log"_s)); // the bus settings were not in that file
    }

    void logSetting_data()
    {
        QTest::addColumn<QByteArray>("keys");
        QTest::addColumn<bool>("written");
        QTest::addColumn<QString>("path");

        const bool systemWide = QFileInfo(u"/var/log/ravelin"_s).isWritable();
        const QString usual = systemWide ? u"/var/log/ravelin/tst_ravelin.log"_s : Path(u"ravelin/tst_ravelin.log"_s);
        QTest::addRow("off when not named") << "LogName="_ba + Path(u"1.log"_s).toUtf8() << false << Path(u"1.log"_s);
        QTest::addRow("0") << "Log=0\nLogName="_ba + Path(u"2.log"_s).toUtf8() << false << Path(u"2.log"_s);
        QTest::addRow("-1") << "Log=-1\nLogName="_ba + Path(u"3.log"_s).toUtf8() << true << Path(u"3.log"_s);
        QTest::addRow("the usual file") << "Log=1"_ba << true << usual;
    }

    void logSetting()
    {
        QFETCH(QByteArray, keys);
        Ravelin controller;
        controller.LoadSettings(Write(Path(u"a.ini"_s), "[Base]\n" + keys + '\n'));
        QTEST(pLog->Path(), "path");
        QTEST(Contents(pLog->Path()).contains("Warrning: No Connections \n"), "written");
    }

    void unknownBusUser()
    {
        Ravelin controller;
        controller.LoadSettings(Write(Path(u"a.ini"_s),
            "[Base]\nLogName=" + Path(u"users.log"_s).toUtf8() + "\n[Field]\nBusUsers=root, nobody-of-this-name\n"));
        QCOMPARE(Contents(pLog->Path()).count("Field/BusUsers: there is no user"), 1);
        QVERIFY(Contents(pLog->Path()).endsWith("there is no user nobody-of-this-name\n"));
    }

    void debugOutput_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("line");
        QTest::addRow("ASCII as ever") << "a\"\\\x01\x7f\r\n b"_ba
                                       << "\"a\\\"\\\\\\x01\\x7F\\r\\n b\""_ba;
        QTest::addRow("Cyrillic") << "Опрос \"1\"\n"_ba
                                  << "\"Опрос \\\"1\\\"\\n\""_ba;
        QTest::addRow("bytes") << "\xD0\xFF"_ba
                               << "\"\\xD0\\xFF\""_ba;
    }

    void debugOutput()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, line);
        Ravelin controller;
        QTest::ignoreMessage(QtDebugMsg, line.constData());
        controller.ShowLog(text);
    }

    void holdsCommand_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<qint32>("blockSize");
        QTest::addColumn<bool>("held");

        const auto quit = "\0\0\0\x17\xCB\0\0\0\x0AQuitSignal\0\0\0\0\0\0\0\0"_ba;
        QTest::addRow("whole") << quit << 0 << true;
        QTest::addRow("but for its end") << quit.chopped(1) << 0 << false;
        QTest::addRow("its length has been read") << quit.sliced(4) << 0x17 << true;
        QTest::addRow("behind others") << "\0\0\0\0\0\0\0\1\7"_ba + quit << 0 << true;
        QTest::addRow("behind half of one") << "\0\0\0\x7Fx"_ba + quit << 0 << false;
        QTest::addRow("behind what is no length") << "\x80\0\0\0"_ba + quit << 0 << false;
        QTest::addRow("another kind") << QByteArray(quit).replace('\xCB', '\xCA') << 0 << false;
        QTest::addRow("a longer name") << QByteArray(quit).replace("\x0AQuitSignal\0"_ba, "\x0BQuitSignal!"_ba) << 0
                                       << false;
        QTest::addRow("no name") << "\0\0\0\4\xCB\0\0\0"_ba << 0 << false;
    }

    void holdsCommand()
    {
        QFETCH(QByteArray, stream);
        QFETCH(qint32, blockSize);
        QTEST(BusFrame::HoldsCommand(stream, blockSize, "QuitSignal"), "held");
    }

    void backlog_data()
    {
        QTest::addColumn<QList<int>>("sizes"); // of frames, MiB, to a peer who does not read
        QTest::addColumn<int>("taken"); // MiB
        QTest::addRow("up to the bound") << QList{3, 3, 2} << 8;
        QTest::addRow("a frame counts itself") << QList{5, 4, 2} << 7;
        QTest::addRow("a large one alone") << QList{20, 1} << 20;
    }

    void backlog()
    {
        QFETCH(QList<int>, sizes);
        QFETCH(int, taken);
        constexpr int MiB = 1024 * 1024;
        std::array<int, 2> ends{};
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends.data()), 0);
        TMyLocalSocket socket;
        QVERIFY(socket.setSocketDescriptor(ends[1]));
        for (const int size : sizes)
            socket.WriteFrame(QByteArray(size * MiB, 'x'));
        const qint64 inKernel = taken * MiB - socket.bytesToWrite();
        QVERIFY2(inKernel >= 0 && inKernel < MiB, QByteArray::number(inKernel));
        ::close(ends[0]);
    }

    void pluginOpensDatabase()
    {
        Ravelin controller;
        controller.LoadSettings(Write(Path(u"a.ini"_s), "[Base]\nLog=1\nLogName=" + Path(u"db.log"_s).toUtf8() + '\n'));
        QSettings good(
            Write(Path(u"b.ini"_s), "[Base]\nBaseName=" + Path(u"a.db"_s).toUtf8() + '\n'), QSettings::IniFormat);
        QSettings bad(Write(Path(u"c.ini"_s), "[Base]\nBDType=mysql\n"), QSettings::IniFormat);
        QString name = u"x"_s;
        QVERIFY(controller.openDataBaseBySettings(name, good, u"Base"_s, {}));
        QVERIFY(!Contents(pLog->Path()).contains("Cannot open"));
        QVERIFY(!controller.openDataBaseBySettings(name, bad, u"Base"_s, {}));
        QVERIFY(Contents(pLog->Path()).endsWith(" Cannot open database x: unknown BDType \"mysql\"\n"));
    }

    void startedWithItsModem()
    {
        PseudoTerminal modem;
        QString error;
        QVERIFY2(modem.Open(Path(u"modem"_s), error), qPrintable(error));
        VirtualTime::WhileWaiting([&] {
            if (Heard(modem).endsWith("ati\r\n"))
                SayTo(modem, "\r\nR123X\r\n000D6F00001733EB\r\n");
        });
        static auto* const controller = new Ravelin; // as in the daemon, its parts live until the process ends
        controller->LoadSettings(Write(Path(u"a.ini"_s),
            "[Main]\nPortKS=" + Path(u"modem"_s).toUtf8() + "\n[Base]\nBaseName=" + Path(u"z.db"_s).toUtf8() + '\n'));
        controller->Start();
        QCOMPARE(controller->Fragments()->UIN, "000D6F00001733EB"_ba);
        const QByteArray announcement = "at+bcastb:13,00\r\xC0\x05"
                                        "000D6F00001733EB\xC1"_ba;
        emit controller->ScanNet();
        QCOMPARE(Heard(modem), "at+sn\r\n" + announcement + "at+sn\r\n");

        QByteArrayList before;
        VirtualTime::Reset(QDateTime(QDate(2014, 3, 4), QTime(8, 29, 30)));
        VirtualTime::WhileWaiting([&] { before += Heard(modem); });
        QByteArray name = "Query_counter"_ba;
        QByteArray argument = "\0\0\0\4node"_ba;
        controller->AdminCommand(name, argument, 0, nullptr);
        QCOMPARE(VirtualTime::Delays(), QList<unsigned int>{20000});
        QCOMPARE(before, QByteArrayList{"at+ucastb:03,node\r\xC0\x01\xC1"_ba});
        QCOMPARE(Heard(modem), "at+ucastb:03,node\r\xC0\x02\xC1"_ba);
        VirtualTime::WhileWaiting(nullptr);
        Ending::Close(); // or the line stays locked
    }

    void templateSettings()
    {
        QString path;
        {
            Ravelin controller;
            QSettings* const settings = controller.prepareTemplateSettings();
            QCOMPARE(controller.prepareTemplateSettings(), settings);
            settings->setValue("a"_L1, 1);
            settings->sync();
            path = settings->fileName();
            QVERIFY(QFile::exists(path));
        }
        QVERIFY(!QFile::exists(path));
    }
};

QTEST_GUILESS_MAIN(tst_Ravelin)
#include "tst_ravelin.moc"
