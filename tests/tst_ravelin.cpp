#include "log.h"
#include "ravelin.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <utility>

using namespace Qt::StringLiterals;

class tst_Ravelin : public QObject {
    Q_OBJECT

private slots:
    void init() { qputenv("XDG_STATE_HOME", directory.path().toUtf8()); }
    void cleanup() { delete std::exchange(pLog, nullptr); }
    void defaults();
    void narrowFields();
    void laterFileStands();
    void databaseKeysFromBaseIni();
    void emptyNameReadsTwoFiles();
    void templateSettings();

private:
    [[nodiscard]] QString Write(const QString& name, const QByteArray& contents) const;

    QTemporaryDir directory;
};

QString tst_Ravelin::Write(const QString& name, const QByteArray& contents) const
{
    const QString path = QDir(directory.path()).absoluteFilePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

void tst_Ravelin::defaults()
{
    Ravelin controller;
    QVERIFY(controller.LoadSettings(Write(u"empty.ini"_s, "\n")));
    const SysVar& v = controller.LoadedSettings();
    QCOMPARE((QStringList{v.PortKS, v.PortCounterKTP, v.PortAlarmButton, v.BaseName, v.SqlHostName, v.SqlLogin,
                  v.SqlPassword, v.BDType, v.TimeOfQuery, v.TimeOfSetTime, v.TimeOfGetTime, v.NtpServer})
                 .join(u' '),
        u"/dev/ttyUSB0 /dev/ttyS2 /dev/ttyS3 db/z.db 192.168.0.0 postgres  sqlite3 :[30]0$ 00:00$ 00:15$ "_s);
    QCOMPARE(v.CounterKTPMultiplier, 1.0);
    QCOMPARE((QList<int>{v.BCAST_to_UCAST_Delay, v.UCAST_to_UCAST_Delay, v.SqlPort, v.RepeateQueryKTPNumber,
                 v.RepeatQueryNumber}),
        (QList<int>{15000, 10000, -1, 15, 5}));
}

void tst_Ravelin::narrowFields()
{
    Ravelin controller;
    controller.LoadSettings(Write(u"a.ini"_s,
        "[Main]\nBCAST_to_UCAST_Delay=65537\nUCAST_to_UCAST_Delay=-1\n"
        "RepeateQueryKTPNumber=256\nRepeatQueryNumber=-1\n"));
    const SysVar& v = controller.LoadedSettings();
    QCOMPARE((QList<int>{v.BCAST_to_UCAST_Delay, v.UCAST_to_UCAST_Delay, v.RepeateQueryKTPNumber, v.RepeatQueryNumber}),
        (QList<int>{1, 65535, 0, 255}));
}

void tst_Ravelin::laterFileStands()
{
    Ravelin controller;
    controller.LoadSettings(Write(u"a.ini"_s, "[Main]\nPortKS=/dev/a\nTimeOfQuery=a\n[Base]\nBaseName=a\n"));
    controller.LoadSettings(Write(u"b.ini"_s, "[Main]\nPortKS=/dev/b\n"));
    const SysVar& v = controller.LoadedSettings();
    QCOMPARE(
        (QStringList{v.PortKS, v.TimeOfQuery, v.BaseName}), (QStringList{u"/dev/b"_s, u":[30]0$"_s, u"db/z.db"_s}));
}

void tst_Ravelin::databaseKeysFromBaseIni()
{
    Ravelin controller;
    const QByteArray base = Write(u"base.ini"_s, "[Base]\nBaseName=there\nSqlPort=5433\nBDType=postgres\n").toUtf8();
    controller.LoadSettings(
        Write(u"a.ini"_s, "[Base]\nBaseName=here\nSqlLogin=here\nSqlPassword=here\nBaseIni=" + base + '\n'));
    const SysVar& v = controller.LoadedSettings();
    QCOMPARE((QStringList{v.BaseName, v.BDType, v.SqlLogin, v.SqlPassword}),
        (QStringList{u"there"_s, u"postgres"_s, u"postgres"_s, {}}));
    QCOMPARE(v.SqlPort, 5433);
}

void tst_Ravelin::emptyNameReadsTwoFiles()
{
    Ravelin controller;
    const QString besideProgram = Write(QCoreApplication::applicationFilePath() + ".ini"_L1,
        "[Main]\nPortKS=/dev/beside\n[Base]\nLog=1\nLogName=" + directory.filePath(u"the.log"_s).toUtf8() + '\n');
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
