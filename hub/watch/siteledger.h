#pragma once

#include "ledgeranswers.h"
#include "ledgerreading.h"

#include <QJsonObject>
#include <QMap>
#include <QObject>
#include <QTimer>

#include <memory>
#include <optional>
#include <variant>

class Calendar;

/// How far the ledger looks back, and by when a day's readings are to be there.
struct SiteLedgerSettings {
    int days = 62; ///< today is one of them; 2 at least
    QTime deadline{6, 0}; ///< of the day after
};

/// Why a question has no answer.
struct LedgerRefusal {
    enum class Kind : quint8 { NoSuchMeter, DatabaseAway };
    Kind kind = Kind::DatabaseAway;
    QString text; ///< a sentence
};
using LedgerAnswer = std::variant<QJsonObject, LedgerRefusal>;

/// The ledger of one daemon, kept up to date in memory: what its database's rows of the last days tell. The rows are
/// read a day at a time with the event loop free in between, first of all days, then of yesterday and today, when
/// something is new in them. When the day or the register has changed, all days are read anew, and meanwhile what was
/// known stands. Each read opens the database and closes it again; nothing is written, nothing is held.
///
/// Times come in and go out as local time with its offset, ISO 8601; energies are kWh. Texts of strangers are made
/// harmless. Nothing but Readings() and Clocks() of one meter asks the database.
class SiteLedger final : public QObject {
    Q_OBJECT
public:
    /// `vars` are the daemon's settings; `name` tells apart the connections of several ledgers in one program.
    SiteLedger(const SysVar& vars, const QString& name, const SiteLedgerSettings& settings_, QObject* parent = nullptr);
    ~SiteLedger() override;

    /// Begins, and looks once a minute from then on.
    void Start();

    /// Looks for something new soon: a sweep has come. Any number of calls is one look.
    void Refresh();

    /// How the last attempt to read ended.
    struct Database {
        bool isReachable = false;
        bool wasTried = false; ///< false: nothing is known yet
        QString kind; ///< "sqlite3" or "postgres"
        QString error; ///< a sentence that names the database; empty while it is reachable
    };
    [[nodiscard]] const Database& DatabaseState() const { return state; }

    /// All days have been read once. Before, the answers are those of an installation without meters.
    [[nodiscard]] bool IsComplete() const { return known.has_value(); }

    /// A look is under way; events go on with it.
    [[nodiscard]] bool IsBusy() const { return reading != nullptr || soon.isActive(); }

    // --- answers as JSON

    /// {"meters": [...]}: those of the register, then those that rows alone name.
    [[nodiscard]] QJsonObject Meters() const;

    /// Due sweeps from `from` on and before `to`, within the days that are known; with a letter for each meter.
    [[nodiscard]] QJsonObject Sweeps(const QDateTime& from, const QDateTime& to) const;

    /// Asks the database. The rows of one meter with stamps from `from` on and before `to`, at most MostReadings of
    /// them; then "next" is where to go on. Not limited to the days that are known.
    [[nodiscard]] LedgerAnswer Readings(qint64 globalId, const QDateTime& from, const QDateTime& to) const;

    /// Of all meters behind nodes.
    [[nodiscard]] QJsonObject Clocks() const;
    /// Of one meter, with the readings of its clock in the last 30 days.
    [[nodiscard]] LedgerAnswer Clocks(qint64 globalId) const;

    /// The report of these days, both included, as far as they are known; JSON text of a megabyte a month.
    [[nodiscard]] QByteArray Ledger(QDate first, QDate last) const;

    /// All of the days that are known; "until" is null while one lasts.
    [[nodiscard]] QJsonObject IncidentsNow() const;

    /// Each node of the register, and each other that the modem has told of.
    [[nodiscard]] QJsonObject Nodes() const;

    static constexpr int MostReadings = 1000;

    // --- what only the bus tells, for Nodes()

    /// The nodes that the modem has in its list, by UIN.
    void SetKnownNodes(const QStringList& uins);
    /// Something came from the node. Of at most MostNodes of them the time is kept.
    void NodeHeard(const QString& uin, const QDateTime& at);

    static constexpr qsizetype MostNodes = 10'000;

    // --- plain values, for the status, metrics and MQTT

    struct MeterNow {
        LedgerMeter meter; ///< texts as strangers chose them
        QDateTime readingAt; ///< of the last reading, local time; invalid: none in the days that are known
        std::array<double, 5> energy{}; ///< kWh
        QDateTime asked; ///< of the last row, local time
        int status = 0; ///< of it; 0: a reading
        int due = 0; ///< readings, in the days that are known
        int read = 0;
        qint64 dueEver = 0; ///< the same since this object was started; these only rise
        qint64 readEver = 0;
        std::optional<MeterClock> clock; ///< none: not read in 30 days
    };
    /// By place: those of the register first.
    [[nodiscard]] QList<MeterNow> MetersNow() const;

    /// What came of the day's sweeps that are over. `byDeadline` is what is certain.
    [[nodiscard]] DayCounts CountsOf(QDate day) const;

    struct LastSweep {
        QDateTime at; ///< local time; invalid: none in the days that are known
        int meters = 0; ///< with a row
        int read = 0;
    };
    [[nodiscard]] LastSweep NewestSweep() const;

    /// Local time; invalid when the schedule names none.
    [[nodiscard]] QDateTime NextSweep() const;
    [[nodiscard]] QDateTime NextClockSweep() const;

    /// How many last now. By the keys of LedgerWords::KeyOf(); each kind is there, also with 0.
    [[nodiscard]] QMap<QString, int> OpenIncidents() const;

    /// The modem, as far as the rows tell: deaf from then on (local time), or invalid.
    [[nodiscard]] QDateTime ModemDeafSince() const;

signals:
    /// The register or a row of a reading is another one than before.
    void ReadingsChanged();
    void IncidentsChanged();
    /// `incident` as in IncidentsNow(). Those that were found in the first reading of all days are not told.
    void IncidentBegan(const QJsonObject& incident);
    void IncidentEnded(const QJsonObject& incident);
    /// It can be read, or cannot, for another reason than before.
    void DatabaseChanged();

private:
    void Look();
    void Step();
    void TakeDraft(const LedgerDraft& draft);
    void Fail(const QString& why);
    void SetState(bool isReachable, const QString& error);
    void TellIncidents(const LedgerSnapshot& before);
    void CountEver(const LedgerSnapshot& snapshot);
    [[nodiscard]] const LedgerSnapshot& Known() const { return known ? *known : nothing; }
    [[nodiscard]] std::optional<qsizetype> PlaceOf(qint64 globalId) const;
    [[nodiscard]] LedgerRefusal NoSuchMeter(qint64 globalId) const;
    [[nodiscard]] LedgerRefusal Away(const QString& why) const;

    struct Ever {
        qint64 due = 0; ///< of the days that are over
        qint64 read = 0;
        qint64 dueNow = 0; ///< with those of the others
        qint64 readNow = 0;
    };

    WatchedSite site;
    std::unique_ptr<Calendar> calendar;
    QString connection;
    QTime deadline;
    Database state;
    LedgerSnapshot nothing;
    std::optional<LedgerSnapshot> known;
    LedgerDraft lastDraft;
    std::unique_ptr<LedgerReading> reading;
    bool isAskedAgain = false; ///< while a reading was under way
    int failures = 0; ///< on end
    QTimer minute; ///< to the next look
    QTimer soon; ///< the next slice
    QHash<qint32, Ever> ever; ///< by global_id
    QDate everUpTo; ///< the last day that is over in them
    QHash<QString, QDateTime> heard; ///< by UIN; invalid: in the modem's list alone
};
