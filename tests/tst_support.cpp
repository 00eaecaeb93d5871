#include "appendfile.h"
#include "database.h"
#include "files.h"
#include "limitedlog.h"
#include "log.h"
#include "necessity.h"
#include "settingsfile.h"
#include "shown.h"
#include "virtualtime.h"

#include <QDir>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

class tst_Support : public QObject {
    Q_OBJECT

    [[nodiscard]] QString Path(const QString& name) const { return directory->filePath(name); }

    std::unique_ptr<QTemporaryDir> directory;

private slots:
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        VirtualTime::Reset(QDateTime(QDate(2014, 3, 4), QTime(8, 29, 30, 7)));
    }

    void log()
    {
        TLog log(Path(u"new/directory/a.log"_s));
        log.Message(u"Связь:\r\nb\t \n\r\n"_s);
        log.Enabled(false);
        log.Message(u"off"_s);
        log.Alert({});
        QVERIFY(QFile::rename(log.Path(), Path(u"a.log.1"_s)));
        VirtualTime::Advance(1000);
        log.Alert(u"two"_s);
        QCOMPARE(Contents(Path(u"a.log.1"_s)), "2014-03-04T08:29:30.007 Связь:  b\t \n2014-03-04T08:29:30.007 \n"_ba);
        QCOMPARE(Contents(log.Path()), "2014-03-04T08:29:31.007 two\n"_ba);

        qputenv("XDG_STATE_HOME", directory->path().toUtf8());
        const bool systemWide = QFileInfo(u"/var/log/ravelin"_s).isWritable();
        QCOMPARE(TLog::getDirPathDefault(u"x"_s), systemWide ? u"/var/log/ravelin/x.log"_s : Path(u"ravelin/x.log"_s));
    }

    void logSurvivesAnUnwritablePath()
    {
        QVERIFY(QDir().mkpath(Path(u"a.log"_s)));
        TLog log(Path(u"a.log"_s));
        log.Message(u"lost"_s);
        QVERIFY(QDir().rmdir(Path(u"a.log"_s)));
        log.Message(u"kept"_s);
        QCOMPARE(Contents(log.Path()), "2014-03-04T08:29:30.007 kept\n"_ba);

        QVERIFY(QFile::link(log.Path(), Path(u"link"_s)));
        AppendFile link(Path(u"link"_s));
        QVERIFY(!link.WriteLine("led astray"_ba));
        QCOMPARE(Contents(log.Path()), "2014-03-04T08:29:30.007 kept\n"_ba);

        AppendFile full(u"/dev/full"_s);
        QVERIFY(!full.WriteLine("x"_ba));
        QCOMPARE(full.ErrorString(), u"No space left on device"_s);
    }

    void shown_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<QString>("text");

        const QString twoHundred(200, u'\u0451');
        QTest::addRow("200 characters stay") << twoHundred.toUtf8() << twoHundred;
        QTest::addRow("the 201st does not") << twoHundred.toUtf8() + "ab" << twoHundred + "..."_L1;
        QTest::addRow("of 49 MB") << QByteArray(49'000'000, 'x') << QString(200, u'x') + "..."_L1;
        QTest::addRow("four bytes each") << u"\U0001F512"_s.repeated(201).toUtf8()
                                         << u"\U0001F512"_s.repeated(200) + "..."_L1;
        QTest::addRow("control characters")
            << "a\0\t\x1b[1m\x7f\xC2\x85\n"_ba << uR"(a\u{0}\u{9}\u{1b}[1m\u{7f}\u{85}\u{a})"_s;
        QTest::addRow("order and ends of lines")
            << u"\u202E\u2028\u2029\u200B\U000E0041"_s.toUtf8() << uR"(\u{202e}\u{2028}\u{2029}\u{200b}\u{e0041})"_s;
        QTest::addRow("no UTF-8") << "a\xFFz %1 \\"_ba << u"a\uFFFDz %1 \\"_s;
    }

    void shown()
    {
        QFETCH(QByteArray, name);
        QTEST(Shown(name), "text");
    }

    void limitedLog()
    {
        TLog log(Path(u"a.log"_s));
        pLog = &log;
        LimitedLog limited(2);
        limited.PeriodEnds(u"none"_s);
        for (int i = 0; i < 3212; ++i)
            limited.Line(QString::number(i));
        limited.PeriodEnds(u"and %1 more"_s);
        limited.Line(u"next"_s);
        limited.PeriodEnds(u"none"_s);
        pLog = nullptr;
        QCOMPARE(Contents(log.Path()).replace("2014-03-04T08:29:30.007 ", ""), "0\n1\nand 3,210 more\nnext\n"_ba);
    }

    void necessity_data()
    {
        QTest::addColumn<bool>("isJournal");
        QTest::addColumn<QByteArray>("lines");
        QTest::addRow("stderr") << false << "gone\nbusy\nworks\ngone\n"_ba;
        QTest::addRow("journal")
            << true << "<3>gone\n<3>busy\n<6>works\n<3>gone\n<6>Start Ok!\n<4>Start Ok!\n<7>traffic b\n"_ba;
    }

    void necessity()
    {
        QFETCH(const bool, isJournal);
        QFETCH(const QByteArray, lines);
        const QByteArray path = Path(u"stderr"_s).toUtf8();
        const int kept = ::dup(STDERR_FILENO);
        QVERIFY(std::freopen(path.constData(), "w", stderr));
        struct stat file = {};
        ::fstat(STDERR_FILENO, &file);
        const ino_t other = isJournal ? 0 : 1;
        qputenv("JOURNAL_STREAM", QByteArray::number(file.st_dev) + ':' + QByteArray::number(file.st_ino + other));
        Journal::Attach();
        TLog log(Path(u"a.log"_s));
        Necessity port;
        port.Works(u"never failed"_s);
        for (const char* const reason : {"gone", "busy", "gone"})
            port.Fails(QString::fromUtf8(reason));
        port.Works(u"works"_s);
        port.Works(u"still works"_s);
        port.Fails(u"gone"_s);
        log.Message(u"gone"_s, Severity::Warning); // the same, once
        log.Message(u"Start Ok!\n"_s);
        log.Message(u"Start Ok!"_s, Severity::Warning);
        log.Enabled(false);
        log.Message(u"off"_s);
        if (isJournal)
            qDebug("traffic\nb");
        std::fflush(stderr);
        qputenv("JOURNAL_STREAM", {});
        Journal::Attach();
        qInstallMessageHandler(nullptr);
        ::dup2(kept, STDERR_FILENO);
        ::close(kept);
        QCOMPARE(Contents(QString::fromUtf8(path)), lines);
        QCOMPARE(Contents(log.Path()).count('\n'), 3);
    }

    void settings_data()
    {
        QTest::addColumn<QByteArray>("contents"); // null: of an endless device
        QTest::addColumn<QString>("values");
        QTest::addColumn<QByteArray>("problems");
        const auto row = [](const char* what, const QByteArray& contents, const QString& values,
                             const QByteArray& problems = {}) {
            QTest::addRow("%s", what) << contents << values << problems;
        };
        const QString defaults = u"default 7 0.5"_s;

        row("byte-order mark, CRLF", "\xEF\xBB\xBF[Main]\r\nPattern=:[30]0$\r\nNumber=70000\r\nReal=40.5\r\n",
            u":[30]0$ 70000 40.5"_s);
        row("comma, negative", "[Main]\nPattern=0{1,2}:00$\nNumber=-1\nReal=-1e3\n", u"0{1,2}:00$ -1 -1000"_s);
        row("empty file", "", defaults);
        row("empty text", "[Main]\nPattern=\n", u" 7 0.5"_s);

        const QByteArray notRead = "Settings file %1 is not read, defaults apply: "_ba;
        row("endless device", {}, defaults, notRead + "it is not a regular file\n");
        row("binary",
            "\x7f"
            "ELF\0[Main]\nNumber=8\n"_ba,
            defaults, notRead + "it is binary\n");
        row("binary value", "[Main]\nNumber=8\nReal=@Variant(\\0\\0\\0\\xc8)\n", defaults, notRead + "it is binary\n");
        row("huge", "[Main]\nNumber=8\n" + QByteArray(1024 * 1024, ';'), defaults,
            notRead + "it is larger than a settings file can be\n");
        const QByteArray number = "Settings file %1: Main/Number is not a number: \"%2\". The default 7 applies\n"
                                  "Settings file %1: Main/Real is not a number: \"%3\". The default 0.5 applies\n"_ba;
        for (const auto& [integer, real] : {std::pair("2147483648", "1,5"), std::pair("", "nan")})
            row(real, "[Main]\nNumber="_ba + integer + "\nReal=" + real + '\n', defaults,
                QByteArray(number).replace("%2", integer).replace("%3", real));
    }

    void settings()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QByteArray, problems);
        const QString path = contents.isNull() ? u"/dev/zero"_s : Write(Path(u"a.ini"_s), contents);
        SettingsFile settings(path);
        const QString text = settings.Text(u"Main/Pattern"_s, u"default"_s);
        const int number = settings.Integer(u"Main/Number"_s, 7);
        const double real = settings.Real(u"Main/Real"_s, 0.5);
        QTEST(u"%1 %2 %3"_s.arg(text, QString::number(number), QString::number(real)), "values");

        TLog log(Path(u"a.log"_s));
        log.Enabled(false);
        pLog = &log;
        settings.ReportFileProblem();
        settings.ReportValueProblems();
        pLog = nullptr;
        QCOMPARE(Contents(log.Path()).replace("2014-03-04T08:29:30.007 ", ""), problems.replace("%1", path.toUtf8()));
    }

    void databaseBySettings()
    {
        const QString fromProgram = QDir(QCoreApplication::applicationDirPath()).relativeFilePath(directory->path());
        const auto check = [&](const QString& keys, const QString& problem) {
            QSettings settings(
                Write(Path(u"a.ini"_s), "[Base]\nBaseName=" + keys.arg(fromProgram).toUtf8()), QSettings::IniFormat);
            QString name;
            QCOMPARE(openDataBaseBySettings(name, settings, u"Base"_s, {}).text(), problem);
            QCOMPARE(QSqlDatabase::contains(name), problem.isEmpty() && !name.isEmpty());
            QSqlDatabase::removeDatabase(name);
        };
        check(u"%1/a.db"_s, {});
        check(u"%1/none/a.db"_s, u"unable to open database file Error opening database"_s);
        check(u"%1/a.db\nBDType=Postgres"_s, u"unknown BDType \"Postgres\""_s);
    }
};

QTEST_GUILESS_MAIN(tst_Support)
#include "tst_support.moc"
