#pragma once

#include "deliveryreports.h"
#include "meteranswer.h"
#include "pacedround.h"
#include "sweep.h"
#include "sysvar.h"
#include "tickminutes.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class NtpQuery;
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

    // Part of the given interface; the daemon does not call these three. It uses MainBase and NodeFrame.
    [[nodiscard]] static QSqlDatabase MainDatabase();
    [[nodiscard]] static QByteArray ToC0C1(QByteArray payload);
    [[nodiscard]] static QByteArray FromC0C1(QByteArray in, QByteArray& rest);

    /// Why the database could not be opened at the start.
    [[nodiscard]] QSqlError LastError() const { return lastError; }

    // --- closing a sweep: sweepclosing.cpp

    /// Closes a query sweep: adds a row for each meter that gave no reading, then sends the sweep's rows to all peers.
    /// Always true.
    bool CreateTemporaryDB();

    /// Closes a time sweep: sends today's clock readings to all peers. Always true. Leaves the date of the sweep at
    /// today, and clears timeSweepActive.
    bool CreateTemporaryDB_time();

    // --- the substation meter: substationmeter.cpp

    /// Reads the substation meter, times the multiplier. On false the outputs keep their values. Blocks for 1 s (SET3)
    /// or 2.6 s (CE301).
    bool ReadPowerFromKTP(float& total, float& t1, float& t2, float& t3, float& t4);

    /// The substation meter's clock, local time. Without an answer the result is the present time less one day; for a
    /// CE301 it always is, because its answer is not read. A SET3's seconds are always 10: see set3line.h. Part of the
    /// given interface; the daemon does not call it.
    QDateTime GetTimeFromCouner();

    // --- the meters' clocks: clocks.cpp

    /// Sends every node the message that sets a CE301's clock, also the nodes of other models.
    void SetTimeCE_301();

    // --- answers: responses.cpp

    // Part of the given interface; the daemon does not call these two. It reads a whole answer at once, with
    // MeterModel::read.

    /// Decodes the first node frame of `pack`; `rest` gets what follows it. For a name that is no model's all outputs
    /// keep their values; after any other failure their values are of no use.
    bool RouteDataFromCounter(QByteArray pack, QString model, float& pwr, float& pwr1, float& pwr2, float& pwr3,
        float& pwr4, QByteArray& rest);
    /// As RouteDataFromCounter(), for the clocks of the SET models, in local time. For any other model all outputs keep
    /// their values. True with an invalid `time` when the bytes are no date and time that exist.
    bool RouteTimeFromCounter(QByteArray pack, QByteArray model, QDateTime& time, QByteArray& rest);

    // --- the numbers that nodes are told: nodenumbers.cpp

    /// Sends the node its meter's "Number", or "KI_Number".
    void SendCounterNumber(QByteArray uin);
    void SendCINumber(QByteArray uin);

    /// Sends nothing, and takes 5 s for each node meter: see nodenumbers.cpp.
    void SendCountersNumbers();
    /// Does nothing.
    void SendCommand_04();

signals:
    void Error(QString message);
    void SendBroadcastMessage(QByteArray message);
    void SendMessage(QByteArray uin, QByteArray message);
    void LogMessage(QByteArray message);
    void CounterPortData(QByteArray message);
    /// What the radio has said by now is to be taken before this returns.
    void RadioWanted();

public slots:
    void CheckAlarm();
    void ReceivedUCAST(QByteArray uin, QByteArray message);
    void ReceivedBCAST(QByteArray uin, QByteArray message);
    void zACK(quint8 i);
    void zNACK(quint8 i);
    void zError(quint16 i);
    void zAcceptUCAST(quint8 i);
    /// Asks for a query sweep at the next tick, also when none is due.
    void NeedQuery();
    void timer_event();

private:
    struct Meter {
        QString number;
        QString model;
    };

    // --- state and database: collector.cpp
    void LogText(const QString& text);
    void BatchBegins(const QString& what, qsizetype messages) const;
    void SendToNode(const QString& uin, const QByteArray& message);
    void SendError(qint32 globalId, int code);
    [[nodiscard]] static qint32 SubstationGlobalId();
    void ReportInvalidPatterns() const;

    // --- the polling cycle: pollingcycle.cpp
    void LookAtSchedule(const QDateTime& now);
    void TellWhatWasMissed() const;
    enum class TimeSweepStart { Done, NobodyToAsk, NtpCheckUnfinished };
    [[nodiscard]] TimeSweepStart Sweeps(const QDateTime& now);
    [[nodiscard]] TimeSweepStart StartTimeSweepWhenDue(const QDateTime& now);
    [[nodiscard]] TimeSweepStart StartTimeSweep(const QDateTime& now);
    [[nodiscard]] QStringList NodesWithoutClockReading();
    void AskForClocks(const QStringList& uins);
    void SendTimeQuery(const QString& uin, const Meter& meter);
    [[nodiscard]] static std::optional<Meter> NodeMeter(const QString& uin);
    void CheckOpenSweep();
    [[nodiscard]] QStringList SilentNodes() const;
    void CloseSweep();
    void AskAgain(const QStringList& silent);
    void StartQuerySweepWhenDue(const QDateTime& now);
    void StartQuerySweep(const QDateTime& now);
    void ForgetReports();
    void StoreSubstationReading();
    [[nodiscard]] std::optional<Energy> ReadSubstationPatiently();
    void ReadOut(const QStringList& uins, unsigned int pauseMs);

    // --- messages to many nodes: pacedsending.cpp
    using SendToOne = std::function<bool(const QString& uin)>; ///< false when nothing was sent
    void ToEach(const QStringList& uins, PacedRound::Until goal, unsigned int pauseMs, const SendToOne& send);
    void ToEachPaced(const QStringList& uins, PacedRound::Until goal, unsigned int mostMs, const SendToOne& send);
    void TakeFromRadio();
    void WaitForMeters(qint64 since);
    void CloseCompleteSweep();

    // --- what the settings switch on in the cycle: fieldcycle.cpp
    [[nodiscard]] TimeSweepStart SweepsInOrder(const QDateTime& now);
    void LookAtScheduleOnce();
    void PrepareReadOut(const QString& uin);

    // --- rows: readingstore.cpp
    [[nodiscard]] static QSqlQuery AboutSweep(QStringView statement, const SweepStamp& stamp);
    void StoreReading(const QString& globalId, const Energy& energy, const SweepStamp& stamp);
    void StoreSubstationSilence(const QString& globalId);
    void StoreRowsForTheSilent();
    static void AddToSweep(const QString& globalId, int status, const QString& row, const SweepStamp& stamp);
    static void AddClockReading(const QString& uinLiteral, const QString& dateShown, const QString& timeShown,
        const QString& date, const QString& time);
    struct SilentMeter {
        QString globalId;
        int status;
    };
    [[nodiscard]] QList<SilentMeter> SilentMeters() const; ///< without a row in the last sweep
    [[nodiscard]] QString RowOf(const SilentMeter& meter) const;

    // --- closing a sweep: sweepclosing.cpp
    [[nodiscard]] QByteArray ReadingRecords() const;
    void TryClockPlaceholders();
    void SendToPeers(const QByteArray& message);

    // --- the substation meter: substationmeter.cpp
    [[nodiscard]] std::optional<Meter> SubstationMeter();
    [[nodiscard]] std::optional<Energy> ReadSubstation();

    // --- the meters' clocks: clocks.cpp
    void SetMeterClocks();
    void SetClocksByModel();
    void SendClockTo(const QStringList& uins);
    [[nodiscard]] bool StoreReferenceClock();
    [[nodiscard]] bool StoreReferenceClockIfListed(const QString& uin);
    static void AddReferenceClock(const QString& uin, const QByteArray& line);

    // --- the modem's reports: acknowledgements.cpp
    void Reported(const QByteArray& uin, bool delivered);

    // --- answers: responses.cpp
    void RaiseCaseOpened(const QByteArray& uin);
    [[nodiscard]] QByteArray WithoutAlarms(const QByteArray& uin, QByteArray message);
    [[nodiscard]] QByteArray StoreAnswer(const QByteArray& uin, const QString& model, qint32 globalId);
    void AnswerTaken(const QByteArray& uin);
    [[nodiscard]] QByteArray TakeFrame(QByteArray bytes, QByteArray& rest) const;
    void StoreEnergy(const QByteArray& uin, qint32 globalId, const std::optional<Energy>& energy);
    void StoreClock(const QByteArray& uin, const std::optional<ClockReading>& clock);
    [[nodiscard]] bool Counts(const ClockReading& clock) const;

    const SysVar vars;
    TServerPlugin* const plugin;
    ZUCASTBuffer* const ucastBuffer;
    QTimer* const pollTimer;
    QTimer* const alarmTimer;
    QSqlError lastError;
    qint32 ktpGlobalId = 0; // the substation meter's, as the register had it at the start
    Sweep sweep;
    bool queryRequested = false;
    QHash<QString, SweepStamp> askedIn; // the last query sweep that read a node out
    DeliveryReports reports;
    RadioWindow window; // of the sweep that began last
    PacedRound* round = nullptr; // the one that runs now
    QList<QString> timeAnswered; // whose clock is stored for the date of the sweep
    QMap<QString, QDateTime> timeQuerySent;
    TickMinutes minutes;
    struct {
        bool clockSetting = false;
        bool timeSweep = false;
        bool querySweep = false;
    } due;
    bool strangersTold = false; // the log has told that of further nodes nothing is kept
};
