#include "log.h"
#include "ravelin.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class tst_Ravelin : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void defaults();
    void narrowFields();
    void laterFileStands();
    void databaseKeysFromBaseIni();
    void emptyNameReadsTwoFiles();
    void templateSettings();

private:
    QString Write(const QString& name, const QByteArray& contents) const;

    QTemporaryDir directory;
};

void tst_Ravelin::init()
{
    qputenv("XDG_STATE_HOME", directory.path().toUtf8());
}

void tst_Ravelin::cleanup()
{
    delete pLog;
    pLog = nullptr;
}

QString tst_Ravelin::Write(const QString& name, const QByteArray& contents) const
{
    const QString path = name.startsWith(u'/') ? name : directory.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

void tst_Ravelin::defaults()
{
    Ravelin controller;
    QVERIFY(controller.LoadSettings(Write(u"empty.ini"_s, "\n")));
    const SysVar& vars = controller.LoadedSettings();
    QCOMPARE(vars.PortKS, u"/dev/ttyUSB0"_s);
    QCOMPARE(vars.PortCounterKTP, u"/dev/ttyS2"_s);
    QCOMPARE(vars.PortAlarmButton, u"/dev/ttyS3"_s);
    QCOMPARE(vars.CounterKTPMultiplier, 1.0);
    QCOMPARE(vars.BCAST_to_UCAST_Delay, 15000);
    QCOMPARE(vars.UCAST_to_UCAST_Delay, 10000);
    QCOMPARE(vars.BaseName, u"db/z.db"_s);
    QCOMPARE(vars.SqlHostName, u"192.168.0.0"_s);
    QCOMPARE(vars.SqlLogin, u"postgres"_s);
    QCOMPARE(vars.SqlPassword, QString());
    QCOMPARE(vars.BDType, u"sqlite3"_s);
    QCOMPARE(vars.SqlPort, -1);
    QCOMPARE(vars.RepeateQueryKTPNumber, 15);
    QCOMPARE(vars.RepeatQueryNumber, 5);
    QCOMPARE(vars.TimeOfQuery, u":[30]0$"_s);
    QCOMPARE(vars.TimeOfSetTime, u"00:00$"_s);
    QCOMPARE(vars.TimeOfGetTime, u"00:15$"_s);
    QCOMPARE(vars.NtpServer, QString());
}

void tst_Ravelin::narrowFields()
{
    Ravelin controller;
    controller.LoadSettings(Write(u"a.ini"_s,
        "[Main]\nBCAST_to_UCAST_Delay=65537\nUCAST_to_UCAST_Delay=-1\n"
        "RepeateQueryKTPNumber=256\nRepeatQueryNumber=-1\n"));
    const SysVar& vars = controller.LoadedSettings();
    QCOMPARE(vars.BCAST_to_UCAST_Delay, 1);
    QCOMPARE(vars.UCAST_to_UCAST_Delay, 65535);
    QCOMPARE(vars.RepeateQueryKTPNumber, 0);
    QCOMPARE(vars.RepeatQueryNumber, 255);
}

void tst_Ravelin::laterFileStands()
{
    Ravelin controller;
    controller.LoadSettings(Write(u"a.ini"_s, "[Main]\nPortKS=/dev/a\nTimeOfQuery=a\n[Base]\nBaseName=a\n"));
    controller.LoadSettings(Write(u"b.ini"_s, "[Main]\nPortKS=/dev/b\n"));
    QCOMPARE(controller.LoadedSettings().PortKS, u"/dev/b"_s);
    QCOMPARE(controller.LoadedSettings().TimeOfQuery, u":[30]0$"_s);
    QCOMPARE(controller.LoadedSettings().BaseName, u"db/z.db"_s);
}

void tst_Ravelin::databaseKeysFromBaseIni()
{
    const QByteArray base = Write(u"base.ini"_s, "[Base]\nBaseName=there\nSqlPort=5433\nBDType=postgres\n").toUtf8();
    Ravelin controller;
    controller.LoadSettings(
        Write(u"a.ini"_s, "[Base]\nBaseName=here\nSqlLogin=here\nSqlPassword=here\nBaseIni=" + base + '\n'));
    const SysVar& vars = controller.LoadedSettings();
    QCOMPARE(vars.BaseName, u"there"_s);
    QCOMPARE(vars.SqlPort, 5433);
    QCOMPARE(vars.BDType, u"postgres"_s);
    QCOMPARE(vars.SqlLogin, u"postgres"_s);
    QCOMPARE(vars.SqlPassword, QString());
}

void tst_Ravelin::emptyNameReadsTwoFiles()
{
    const QString besideProgram = Write(QCoreApplication::applicationFilePath() + ".ini"_L1,
        "[Main]\nPortKS=/dev/beside\n[Base]\nLog=1\nLogName=" + directory.filePath(u"the.log"_s).toUtf8() + '\n');
    Ravelin controller;
    controller.LoadSettings({});
    QFile::remove(besideProgram);
    QCOMPARE(controller.LoadedSettings().PortKS, u"/dev/beside"_s);
    QVERIFY(pLog->Path() != directory.filePath(u"the.log"_s)); // the bus settings were not in that file
}

void tst_Ravelin::templateSettings()
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

QTEST_GUILESS_MAIN(tst_Ravelin)
#include "tst_ravelin.moc"
