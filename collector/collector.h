#pragma once

#include "energy.h"
#include "sysvar.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlError>
#include <QString>
#include <QStringList>

#include <optional>

class QTimer;
class TServerPlugin;
class ZUCASTBuffer;

/// The engine of the daemon: sweeps over the meters on schedule, stores what they answer, sets and reads their clocks.
/// It reaches the radio by its signals and the bus through its plug-in. Its ticks block the thread for as long as a
/// sweep's sending takes; answers that come meanwhile are handled at the points where a tick lets events run.
class TCollector final : public QObject {
    Q_OBJECT

public:
    // --- state and database: collector.cpp

    /// Opens the database and starts the two timers. `buffer` and `owner` must outlive the collector.
    TCollector(ZUCASTBuffer* buffer, SysVar settings, TServerPlugin* owner);
    ~TCollector() override;

    [[nodiscard]] static QSqlDatabase MainDatabase();
    [[nodiscard]] static QByteArray ToC0C1(QByteArray payload);
    [[nodiscard]] static QByteArray FromC0C1(QByteArray in, QByteArray& rest);

    /// Why the database could not be opened at the start.
    [[nodiscard]] QSqlError LastError() const { return lastError; }

    // --- closing a sweep: readingstore.cpp

    /// Closes a query sweep: adds a row for each meter that gave no reading, then sends the sweep's rows to all peers.
    /// Always true.
    bool CreateTemporaryDB();

    /// Closes a time sweep: sends today's clock readings to all peers. Always true. Leaves the date of the sweep at
    /// today, and timeSweepActive cleared.
    bool CreateTemporaryDB_time();

    // --- the substation meter: substationmeter.cpp

    /// Reads the substation meter, times the multiplier. On false the outputs may hold part of an answer. Blocks for 1
    /// s (SET3) or 2.6 s (CE301).
    bool ReadPowerFromKTP(float& total, float& t1, float& t2, float& t3, float& t4);

    /// The substation meter's clock. Yesterday's time of day when there is no answer, and always for a CE301: its
    /// answer is not read. The seconds are the request code that the answer echoes, 10: kept for its callers.
    QDateTime GetTimeFromCouner();

    // --- the meters' clocks: clocks.cpp

    /// Sends every node, whatever its meter, the message that sets a CE301's clock.
    void SetTimeCE_301();

    // --- answers: responses.cpp

    /// Decode the first node frame of `pack`; `rest` gets what follows it. Outputs are worth something on true only.
    bool RouteDataFromCounter(QByteArray pack, QString model, float& pwr, float& pwr1, float& pwr2, float& pwr3,
        float& pwr4, QByteArray& rest);
    /// For the SET models alone. True with an invalid `time` when the bytes are no date and time.
    bool RouteTimeFromCounter(QByteArray pack, QByteArray model, QDateTime& time, QByteArray& rest);

    // --- the numbers that nodes are told: numbers.cpp

    /// Sends the node its meter's "Number", or "KI_Number".
    void SendCounterNumber(QByteArray uin);
    void SendCINumber(QByteArray uin);

    /// Sends nothing, and takes 5 s for each node meter: see there.
    void SendCountersNumbers();
    void SendCommand_04();

signals:
    void Error(QString message);
    void SendBroadcastMessage(QByteArray message);
    void SendMessage(QByteArray uin, QByteArray message);
    void LogMessage(QByteArray message);
    void CounterPortData(QByteArray message);

public slots:
    void CheckAlarm();
    void ReceivedUCAST(QByteArray uin, QByteArray message);
    void ReceivedBCAST(QByteArray uin, QByteArray message);
    void zACK(quint8 i);
    void zNACK(quint8 i);
    void zError(quint16 i);
    void zAcceptUCAST(quint8 i);
    /// Wants a query sweep at the next tick, whatever the schedule says.
    void NeedQuery();
    void timer_event();

private:
    /// What is known of a node meter in the current sweep: the status of its row if it gives no reading.
    enum MeterState : unsigned char { Undecodable = 1, NodeHeard = 2, DeliveryFailed = 3, NothingHeard = 0xFF };

    struct Meter {
        QString number;
        QString model;
    };

    // --- state and database: collector.cpp
    void LogText(const QString& text);
    void SendToNode(const QString& uin, const QByteArray& message);
    void SendError(qint32 globalId, int code);
    void ReportInvalidPatterns() const;

    // --- closing a sweep: readingstore.cpp
    struct SilentMeter {
        QString globalId;
        int status;
    };
    [[nodiscard]] QList<SilentMeter> SilentMeters(); ///< without a row in the last sweep
    [[nodiscard]] QString RowOf(const SilentMeter& meter) const;
    void StoreRowsForTheSilent();
    void AddToSweep(const QString& globalId, int status, const QString& row);
    void TryClockPlaceholders();
    void SendToPeers(const QByteArray& message);

    // --- the substation meter: substationmeter.cpp
    [[nodiscard]] std::optional<Meter> SubstationMeter();
    [[nodiscard]] std::optional<Energy> ReadSubstationCE301();
    [[nodiscard]] std::optional<Energy> ReadSubstationSET3(const QString& number);
    [[nodiscard]] QByteArray AskSubstationSET3(const QString& number, const QByteArray& code);

    // --- the meters' clocks: clocks.cpp
    void SetMeterClocks();
    [[nodiscard]] bool StoreReferenceClock();
    static void AddClockReading(const QString& uinLiteral, const QString& dateShown, const QString& timeShown,
        const QString& date, const QString& time);

    // --- the polling cycle: pollingcycle.cpp
    enum class TimeSweepStart { Done, NobodyToAsk, NtpCheckUnfinished };
    [[nodiscard]] TimeSweepStart StartTimeSweepWhenDue(const QDateTime& now);
    [[nodiscard]] QStringList NodesWithoutClockReading();
    void AskForClocks(const QStringList& uins);
    void SendTimeQuery(const QString& uin, const Meter& meter);
    [[nodiscard]] static std::optional<Meter> NodeMeter(const QString& uin);
    void CheckOpenSweep();
    [[nodiscard]] QStringList SilentNodes() const;
    void CloseSweep();
    void AskAgain(const QStringList& silent);
    void StartQuerySweepWhenDue(const QDateTime& now);
    void ForgetMeterStates();
    void StoreSubstationReading();
    [[nodiscard]] std::optional<Energy> ReadSubstationPatiently();
    void ReadOut(const QStringList& uins, unsigned int pauseMs);
    [[nodiscard]] bool SweepIsOpen() const { return !noSweepYet && !sweepClosed; }
    void OpenSweep(const QDateTime& now);

    // --- answers: responses.cpp
    void RaiseCaseOpened(const QByteArray& uin);
    [[nodiscard]] QByteArray StoreAnswer(const QByteArray& uin, const QString& model, qint32 globalId);
    void StoreEnergy(const QByteArray& uin, const QString& model, qint32 globalId, QByteArray& rest);
    void StoreReading(const QString& globalId, const Energy& energy);
    void StoreClockCE301(const QByteArray& uin, const QByteArray& frame);
    void StoreClockSET(const QByteArray& uin, const QString& model, QByteArray& rest);
    void StoreClock(const QByteArray& uin, const QString& date, const QString& time, const QString& shown);

    const SysVar vars;
    QTimer* const pollTimer;
    QTimer* const alarmTimer;
    qint8 repeatCount = 0;
    TServerPlugin* const plugin;
    qint32 ktpGlobalId = 0;
    QSqlError lastError;
    // With their quotes they make every insert fail until the first sweep gives them a value: no row without a sweep.
    QString sweepDate = QStringLiteral("'now'");
    QString sweepTime = QStringLiteral("'now'");
    bool querySweepActive = false;
    bool timeSweepActive = false;
    QList<QByteArray> awaitingAck;
    QHash<QByteArray, unsigned char> meterState;
    ZUCASTBuffer* const ucastBuffer;
    QList<QString> timeAnswered;
    QMap<QString, QDateTime> timeQuerySent;
    bool noSweepYet = true;
    bool sweepClosed = false;
    bool queryRequested = false;
};
