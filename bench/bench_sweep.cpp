// What a query sweep costs in SQL, on an SQLite file as `ravelinctl register init` makes it: the tick that starts it,
// the answers of nine meters in ten, the tick that closes it. The waits of the ticks take no time here. Per meter and
// phase; `peak` is the most memory that the process had during the sweeps.
//
// RAVELIN_OLD_ROWS says how many readings of earlier sweeps the full database holds, 5 million when it is not set.
// Making them takes up to 250 bytes each in the temporary directory, which should be on the kind of disk that is asked
// about.

#include "collector.h"
#include "heap.h"
#include "meteranswers.h"
#include "registerdatabase.h"
#include "serverplugin.h"
#include "virtualtime.h"
#include "zucastbuffer.h"

#include <QCoreApplication>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <chrono>
#include <memory>

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

const QDateTime SweepStart(QDate(2014, 3, 4), QTime(8, 30));
const QString OfTheSweep = u"FROM Main_Data WHERE date_r = '2014-03-04' AND time_r = '08:30:00'"_s;

bool IsSilent(int meter)
{
    return meter % 10 == 0;
}

QByteArray Uin(int meter)
{
    return QByteArray::number(0x000D6F0000000000 + meter, 16).toUpper().rightJustified(16, '0');
}

/// A database of its own in the temporary directory.
class Store {
public:
    Store(int meters, int oldRows) : Meters(meters), OldRows(oldRows)
    {
        if (!directory.isValid())
            qFatal("no temporary directory");
        vars.BDType = u"sqlite3"_s;
        vars.BaseName = directory.filePath(u"z.db"_s);
        vars.PortCounterKTP = directory.filePath(u"none"_s);
        vars.RepeateQueryKTPNumber = 0;
        vars.RepeatQueryNumber = 0;
        vars.TimeOfQuery = vars.TimeOfSetTime = vars.TimeOfGetTime = u"never"_s;
        FillRegister();
        database = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"benchmark"_s);
        database.setDatabaseName(vars.BaseName);
        if (!database.open())
            qFatal("no database");
        AddOldRows();
    }

    ~Store()
    {
        database = {};
        QSqlDatabase::removeDatabase(u"benchmark"_s);
    }
    Q_DISABLE_COPY_MOVE(Store)

    int FirstNumber(const QString& statement)
    {
        QSqlQuery query(database);
        if (!query.exec(statement))
            qFatal("%s", qPrintable(statement + query.lastError().text()));
        return query.next() ? query.value(0).toInt() : 0;
    }

    /// The next sweep finds the database as this one did.
    void ForgetSweep()
    {
        FirstNumber("DELETE "_L1 + OfTheSweep);
        EmptyWriteAheadLog();
    }

    const int Meters;
    const int OldRows;
    SysVar vars;

private:
    void FillRegister() const
    {
        RegisterDatabase file(vars);
        RegisterChange change;
        change.added.append({{}, u"0"_s, u"KTP"_s, u"70000"_s, u"SET3"_s, u"1"_s, u""_s});
        for (int meter = 1; meter <= Meters; ++meter) {
            const QString number = QString::number(meter);
            change.added.append({{}, number, QString::fromLatin1(Uin(meter)), number, u"SET3"_s, u"0"_s, u""_s});
        }
        if (!file.Open(RegisterDatabase::Missing::IsMade) || !file.CreateSchema() || !file.Write(change))
            qFatal("%s", qPrintable(file.Error()));
    }

    /// Sweeps of all meters, each half an hour before the next, up to the one that is measured.
    void AddOldRows()
    {
        FirstNumber(u"WITH RECURSIVE sweep(n) AS (SELECT (%1 + %2 - 1) / %2 UNION ALL SELECT n - 1 FROM sweep "
                    "WHERE n > 1), stamp(at) AS (SELECT datetime('2014-03-04 08:30:00', (-30 * n) || ' minutes') "
                    "FROM sweep) INSERT INTO Main_Data SELECT global_id, 1000.12, 100.34, 200.56, 300.78, 398.44, "
                    "date(at), time(at), 0 FROM stamp, \"Counters\" WHERE \"Type\" = 0 LIMIT %1"_s.arg(OldRows)
                        .arg(Meters));
        EmptyWriteAheadLog();
        if (FirstNumber(u"SELECT count(*) FROM Main_Data"_s) != OldRows)
            qFatal("the old rows are not there");
    }

    void EmptyWriteAheadLog()
    {
        if (FirstNumber(u"PRAGMA wal_checkpoint(TRUNCATE)"_s) != 0)
            qFatal("the write-ahead log is in use");
    }

    QTemporaryDir directory;
    QSqlDatabase database;
};

/// The last one made is kept: old rows take minutes to make.
std::unique_ptr<Store> store;

Store& StoreWith(int meters, int oldRows)
{
    if (!store || store->Meters != meters || store->OldRows != oldRows) {
        store.reset(); // both have the same connection
        store = std::make_unique<Store>(meters, oldRows);
    }
    return *store;
}

void ForgetPeakMemory()
{
    QFile file(u"/proc/self/clear_refs"_s);
    if (!file.open(QIODevice::WriteOnly) || file.write("5") != 1)
        qFatal("the peak of memory cannot be reset");
}

double PeakMemory()
{
    QFile file(u"/proc/self/status"_s);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no memory figures");
    for (QByteArray line = file.readLine(); !line.isEmpty(); line = file.readLine())
        if (line.startsWith("VmHWM:"))
            return line.simplified().split(' ').at(1).toDouble() * 1024;
    qFatal("no peak of memory");
}

template <typename Work>
double Seconds(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Answer(TCollector& collector, int meters)
{
    for (int meter = 1; meter <= meters; ++meter) {
        collector.zACK(0);
        if (!IsSilent(meter))
            collector.ReceivedUCAST(Uin(meter),
                TCollector::ToC0C1(
                    MeterAnswers::EnergySET3(static_cast<quint32>(meter), {10012, 20034, 30056, 40078})));
    }
}

void MeasureSweep(benchmark::State& state)
{
    const auto meters = static_cast<int>(state.range(0));
    Store& file = StoreWith(meters, static_cast<int>(state.range(1)));
    TServerPlugin plugin;
    ZUCASTBuffer buffer("000D6F00000000FF"_ba, QByteArray());
    TCollector collector(&buffer, file.vars, &plugin);
    double starting = 0;
    double answering = 0;
    double closing = 0;
    ForgetPeakMemory();
    while (state.KeepRunning()) {
        VirtualTime::Reset(SweepStart);
        collector.NeedQuery();
        const double start = Seconds([&] { collector.timer_event(); });
        const double answers = Seconds([&] { Answer(collector, meters); });
        const double close = Seconds([&] { collector.timer_event(); });
        state.SetIterationTime(start + answers + close);
        starting += start;
        answering += answers;
        closing += close;

        const int readings = file.FirstNumber("SELECT count(*) "_L1 + OfTheSweep + " AND status = 0"_L1);
        const int silent = file.FirstNumber("SELECT count(*) "_L1 + OfTheSweep + " AND status = 2"_L1);
        if (readings != meters - meters / 10 || silent != meters / 10)
            state.SkipWithError("the sweep's rows are not there");
        file.ForgetSweep();
    }
    const auto perMeter = [meters](double seconds) {
        return benchmark::Counter(seconds / meters, benchmark::Counter::kAvgIterations);
    };
    state.counters = {{"start", perMeter(starting)}, {"answers", perMeter(answering)}, {"close", perMeter(closing)},
        {"all", perMeter(starting + answering + closing)}, {"peak", PeakMemory()}};
}

int OldRowsWanted()
{
    if (!qEnvironmentVariableIsSet("RAVELIN_OLD_ROWS"))
        return 5'000'000;
    bool isNumber = false;
    const int rows = qEnvironmentVariableIntValue("RAVELIN_OLD_ROWS", &isNumber);
    if (!isNumber || rows < 1)
        qFatal("RAVELIN_OLD_ROWS is no number of rows");
    return rows;
}

} // namespace

int main(int argc, char* argv[])
{
    KeepFreedHeap();
    const QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(u"default.debug=false"_s);
    benchmark::RegisterBenchmark("Sweep", MeasureSweep)
        ->ArgNames({"meters", "old"})
        ->ArgsProduct({{100, 1'000, 10'000}, {0, OldRowsWanted()}})
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    store.reset(); // before the application goes
    return 0;
}
