#include "appendfile.h"
#include "database.h"
#include "log.h"
#include "settingsfile.h"
#include "virtualtime.h"

#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

QByteArray Contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void Write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

} // namespace

class tst_Support : public QObject {
    Q_OBJECT

private slots:
    void init();
    void logLine_data();
    void logLine();
    void logFollowsItsPath();
    void logSurvivesAnUnwritablePath();
    void logSwitch();
    void logDefaultPath();
    void settingsFile_data();
    void settingsFile();
    void settingsProblems_data();
    void settingsProblems();
    void databaseBySettings_data();
    void databaseBySettings();

private:
    [[nodiscard]] QString Path(const QString& name) const { return directory->filePath(name); }

    std::unique_ptr<QTemporaryDir> directory;
};

void tst_Support::init()
{
    directory = std::make_unique<QTemporaryDir>();
    VirtualTime::Reset(QDateTime(QDate(2014, 3, 4), QTime(8, 29, 30, 7)));
}

void tst_Support::logLine_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("line");

    QTest::addRow("plain") << u"Start Ok!"_s << "2014-03-04T08:29:30.007 Start Ok!\n"_ba;
    QTest::addRow("trailing line feed and blanks")
        << u"Start server: a Ok!!!! \n"_s << "2014-03-04T08:29:30.007 Start server: a Ok!!!!\n"_ba;
    QTest::addRow("one message, one line") << u"a\r\nb"_s << "2014-03-04T08:29:30.007 a  b\n"_ba;
    QTest::addRow("UTF-8") << u"Связь"_s << "2014-03-04T08:29:30.007 Связь\n"_ba;
    QTest::addRow("empty") << QString() << "2014-03-04T08:29:30.007 \n"_ba;
}

void tst_Support::logLine()
{
    QFETCH(QString, text);
    TLog log(Path(u"new/directory/a.log"_s));
    log.Message(text);
    QTEST(Contents(log.Path()), "line");
}

void tst_Support::logFollowsItsPath()
{
    TLog log(Path(u"a.log"_s));
    log.Message(u"one"_s);
    QVERIFY(QFile::rename(log.Path(), Path(u"a.log.1"_s)));
    log.Message(u"two"_s);
    VirtualTime::Advance(1000);
    log.Message(u"three"_s);
    QCOMPARE(Contents(Path(u"a.log.1"_s)), "2014-03-04T08:29:30.007 one\n"_ba);
    QCOMPARE(Contents(log.Path()), "2014-03-04T08:29:30.007 two\n2014-03-04T08:29:31.007 three\n"_ba);
}

void tst_Support::logSurvivesAnUnwritablePath()
{
    QVERIFY(QDir().mkpath(Path(u"a.log"_s)));
    TLog log(Path(u"a.log"_s));
    log.Message(u"lost"_s);
    QVERIFY(QDir().rmdir(Path(u"a.log"_s)));
    log.Message(u"kept"_s);
    QCOMPARE(Contents(log.Path()), "2014-03-04T08:29:30.007 kept\n"_ba);

    AppendFile full(u"/dev/full"_s);
    QVERIFY(!full.WriteLine("x"_ba));
    QCOMPARE(full.ErrorString(), u"No space left on device"_s);
}

void tst_Support::logSwitch()
{
    TLog log(Path(u"a.log"_s));
    log.Enabled(false);
    log.Message(u"off"_s);
    log.Alert(u"must be seen"_s);
    QCOMPARE(Contents(log.Path()), "2014-03-04T08:29:30.007 must be seen\n"_ba);
}

void tst_Support::logDefaultPath()
{
    qputenv("XDG_STATE_HOME", directory->path().toUtf8());
    QVERIFY(!QFileInfo::exists(u"/var/log/ravelin"_s) || QFileInfo(u"/var/log/ravelin"_s).isWritable()
        || TLog::getDirPathDefault(u"x"_s) == Path(u"ravelin/x.log"_s));
    if (!QFileInfo::exists(u"/var/log/ravelin"_s))
        QCOMPARE(TLog::getDirPathDefault(u"x"_s), Path(u"ravelin/x.log"_s));
    qunsetenv("XDG_STATE_HOME");
}

void tst_Support::settingsFile_data()
{
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<int>("number");
    QTest::addColumn<double>("real");

    QTest::addRow("plain") << "[Main]\nPattern=:[30]0$\nNumber=70000\nReal=40.5\n"_ba << u":[30]0$"_s << 70000 << 40.5;
    QTest::addRow("CRLF") << "[Main]\r\nPattern=:[30]0$\r\nNumber=70000\r\nReal=40.5\r\n"_ba << u":[30]0$"_s << 70000
                          << 40.5;
    QTest::addRow("byte-order mark") << "\xEF\xBB\xBF[Main]\r\nPattern=:[30]0$\r\nNumber=70000\r\nReal=40.5\r\n"_ba
                                     << u":[30]0$"_s << 70000 << 40.5;
    QTest::addRow("comma in a pattern") << "[Main]\nPattern=0{1,2}:00$\n"_ba << u"0{1,2}:00$"_s << 7 << 0.5;
    QTest::addRow("empty file") << ""_ba << u"default"_s << 7 << 0.5;
    QTest::addRow("empty text") << "[Main]\nPattern=\n"_ba << u""_s << 7 << 0.5;
    QTest::addRow("negative") << "[Main]\nNumber=-1\nReal=-1e3\n"_ba << u"default"_s << -1 << -1000.0;
}

void tst_Support::settingsFile()
{
    QFETCH(QByteArray, contents);
    Write(Path(u"a.ini"_s), contents);
    SettingsFile settings(Path(u"a.ini"_s));
    QTEST(settings.Text(u"Main/Pattern"_s, u"default"_s), "pattern");
    QTEST(settings.Integer(u"Main/Number"_s, 7), "number");
    QTEST(settings.Real(u"Main/Real"_s, 0.5), "real");

    TLog log(Path(u"a.log"_s));
    pLog = &log;
    settings.ReportFileProblem();
    settings.ReportValueProblems();
    pLog = nullptr;
    QCOMPARE(Contents(log.Path()), QByteArray());
}

void tst_Support::settingsProblems_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QByteArray>("problem");

    const QByteArray notRead = "Settings file %1 is not read, defaults apply: "_ba;
    QTest::addRow("missing") << u"none.ini"_s << QByteArray() << notRead + "it does not exist";
    QTest::addRow("directory") << u"."_s << QByteArray() << notRead + "it is not a regular file";
    QTest::addRow("endless device") << u"/dev/zero"_s << QByteArray() << notRead + "it is not a regular file";
    QTest::addRow("binary") << u"a.ini"_s
                            << QByteArray("\x7f"
                                          "ELF\0[Main]\nNumber=8\n",
                                   21)
                            << notRead + "it is binary";
    QTest::addRow("huge") << u"a.ini"_s << QByteArray("[Main]\nNumber=8\n" + QByteArray(1024 * 1024, ';'))
                          << notRead + "it is larger than a settings file can be";
    QTest::addRow("no key") << u"a.ini"_s << "[Main]\nwhat is this\n"_ba
                            << "Settings file %1 has lines that are neither [group] nor key=value"_ba;
    QTest::addRow("not a number")
        << u"a.ini"_s << "[Main]\nNumber=soon\n"_ba
        << "Settings file %1: Main/Number is not a number: \"soon\". The default 7 applies"_ba;
    QTest::addRow("out of range")
        << u"a.ini"_s << "[Main]\nNumber=2147483648\n"_ba
        << "Settings file %1: Main/Number is not a number: \"2147483648\". The default 7 applies"_ba;
    QTest::addRow("no value") << u"a.ini"_s << "[Main]\nNumber=\n"_ba
                              << "Settings file %1: Main/Number is not a number: \"\". The default 7 applies"_ba;
    QTest::addRow("decimal comma")
        << u"a.ini"_s << "[Main]\nReal=1,5\n"_ba
        << "Settings file %1: Main/Real is not a number: \"1,5\". The default 0.5 applies"_ba;
    QTest::addRow("not finite") << u"a.ini"_s << "[Main]\nReal=nan\n"_ba
                                << "Settings file %1: Main/Real is not a number: \"nan\". The default 0.5 applies"_ba;
}

void tst_Support::settingsProblems()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, contents);
    QFETCH(QByteArray, problem);
    const QString path = name.startsWith(u'/') ? name : Path(name);
    if (!contents.isEmpty())
        Write(path, contents);

    SettingsFile settings(path);
    QCOMPARE(settings.Integer(u"Main/Number"_s, 7), 7);
    QCOMPARE(settings.Real(u"Main/Real"_s, 0.5), 0.5);

    TLog log(Path(u"a.log"_s));
    log.Enabled(false);
    pLog = &log;
    settings.ReportFileProblem();
    settings.ReportValueProblems();
    pLog = nullptr;
    QCOMPARE(Contents(log.Path()), "2014-03-04T08:29:30.007 " + problem.replace("%1", path.toUtf8()) + '\n');
}

void tst_Support::databaseBySettings_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QString>("error");

    QTest::addRow("opens") << "BDType=sqlite3\nBaseName=%1/a.db\n"_ba << QString();
    QTest::addRow("no such directory") << "BDType=sqlite3\nBaseName=%1/none/a.db\n"_ba
                                       << u"unable to open database file Error opening database"_s;
    QTest::addRow("unknown type") << "BDType=Postgres\n"_ba << u"unknown BDType \"Postgres\""_s;
}

void tst_Support::databaseBySettings()
{
    QFETCH(QByteArray, keys);
    Write(Path(u"a.ini"_s), "[Base]\n" + keys.replace("%1", directory->path().toUtf8()));
    QSettings settings(Path(u"a.ini"_s), QSettings::IniFormat);
    QString name;
    const QSqlError error = openDataBaseBySettings(name, settings, u"Base"_s, {});
    QTEST(error.text(), "error");
    QVERIFY(!name.isEmpty());
    QCOMPARE(QSqlDatabase::contains(name), !error.isValid());
    QSqlDatabase::removeDatabase(name);
}

QTEST_GUILESS_MAIN(tst_Support)
#include "tst_support.moc"
