#pragma once

#include "clock.h"
#include "collector.h"
#include "files.h"
#include "log.h"
#include "pseudoterminal.h"
#include "serverplugin.h"
#include "virtualtime.h"
#include "zucastbuffer.h"

#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>

/// A collector at work in virtual time, on a real database file. Everything that leaves it is kept in one journal, in
/// order: messages to nodes and to the bus, log texts, waits, and what is written to the substation meter.
class CollectorBench : public QObject {
    Q_OBJECT

protected:
    /// Address of node `n`; the journal calls it "node n".
    static QByteArray Node(int n) { return "000D6F000000000" + QByteArray::number(n); }
    static QStringList Lines(const char* lines) { return QString::fromUtf8(lines).split(u'|'); }

    [[nodiscard]] QString Path(const QString& name) const { return directory->filePath(name); }
    void Sql(const QString& statement);
    [[nodiscard]] QStringList Rows(const QString& statement);
    [[nodiscard]] QStringList Readings() { return Rows(QStringLiteral("SELECT * FROM Main_Data")); }
    [[nodiscard]] QStringList ClockRows() { return Rows(QStringLiteral("SELECT * FROM time_table")); }
    [[nodiscard]] qsizetype LogLines(const QByteArray& text) const { return Contents(pLog->Path()).count(text); }

    void Register(int id, const QByteArray& uin, const QString& number, const QString& model, int type);
    void RegisterNode(int n, const QString& model, const QString& number = QStringLiteral("1"));
    /// With today's reference clock.
    void RegisterSubstation(const QString& model);
    void OpenSubstation(const QByteArray& answer = {});
    void FakeNtpq(const QByteArray& script);

    /// A collector of the settings and the register as they are; an earlier one goes.
    void Create();
    [[nodiscard]] bool Polling() const;

    /// Leaves this tick's lines in the journal, but for the first.
    void Tick(const QDateTime& time);
    void Tick(QTime time) { Tick({CurrentDateTime().date(), time}); }
    void Tick(QTime time, const QString& lines) { Tick({CurrentDateTime().date(), time}, lines); }
    void Tick(const QDateTime& time, const QString& lines);

    void Answer(int node, const QByteArray& payload);
    /// The answer comes while the thread waits, and is taken when the tick lets events run.
    void AnswerDuringWait(int wait, int node, const QByteArray& payload);

    /// The next message on the bus, null when there is none.
    [[nodiscard]] QByteArray BusMessage() const;
    /// Notes what is on the bus: an error with its text, a sweep with each record's meter and status.
    void NoteBus();

    SysVar vars;
    std::unique_ptr<ZUCASTBuffer> buffer;
    std::unique_ptr<TCollector> collector;
    std::unique_ptr<PseudoTerminal> substation;
    QByteArray substationAnswer; // given when the collector has written its last message
    QByteArray substationSettings; // to which the collector set its line
    std::function<void()> duringWait;
    int waits = 0;
    QStringList journal;

private slots:
    void init();
    void cleanup();

private: // NOLINT(readability-redundant-access-specifiers)
    void Waited();
    void ActAsSubstation(unsigned int ms);

    std::unique_ptr<QTemporaryDir> directory;
    std::unique_ptr<TServerPlugin> plugin;
    int peer = -1;
    QByteArray oldPath = qgetenv("PATH");
};
