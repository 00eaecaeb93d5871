#include "ending.h"
#include "files.h"
#include "log.h"
#include "ravelin.h"
#include "terminal.h"
#include "virtualtime.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

#include <utility>

using namespace Qt::StringLiterals;

class tst_Ravelin : public QObject {
    Q_OBJECT

    QTemporaryDir directory;

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

    void startedWithItsModem()
    {
        PseudoTerminal line;
        QString error;
        QVERIFY2(line.Open(directory.filePath(u"modem"_s), error), qPrintable(error));
        pollfd end{line.Descriptor(), POLLIN, 0};
        VirtualTime::WhileWaiting([&] {
            if (::poll(&end, 1, 50) == 1 && line.Read().endsWith("ati\r\n"))
                SayTo(line, "\r\nR123X\r\n000D6F00001733EB\r\n");
        });
        static auto* const controller = new Ravelin; // what it starts lives as long as the process
        const QByteArray place = directory.path().toUtf8();
        controller->LoadSettings(Write(directory.filePath(u"a.ini"_s),
            "[Base]\nBaseName=" + place + "/z.db\n[Main]\nPortKS=" + place + "/modem\n"));
        controller->Start();
        VirtualTime::WhileWaiting(nullptr);
        QCOMPARE(controller->Fragments()->UIN, "000D6F00001733EB"_ba);

        const QByteArray announcement = "at+sn\r\nat+bcastb:13,00\r\xC0\x05"
                                        "000D6F00001733EB\xC1"_ba;
        emit controller->ScanNet();
        QByteArray written;
        while (!written.endsWith(announcement + "at+sn\r\n") && ::poll(&end, 1, 5000) == 1)
            written += line.Read();
        QCOMPARE(written, announcement + "at+sn\r\n");
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
