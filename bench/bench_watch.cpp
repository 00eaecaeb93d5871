// What the ledger of the hub costs on an installation's rows: the longest slice of the first reading, a look at what is
// new, and each answer as JSON text; and what the process holds. Makes a database of its own, as `ravelinctl register
// init` makes it: RAVELIN_METERS meters (200), every half hour for RAVELIN_DAYS days (365) until now. Or takes the one
// that is named: bench_watch FILE.

#include "clock.h"
#include "registerdatabase.h"
#include "siteledger.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

/// Of this process, KiB.
qint64 Resident(const QByteArray& key)
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith(key + ':'))
            return line.mid(key.size() + 1).trimmed().split(' ').constFirst().toLongLong();
    return -1;
}

void Require(bool done, const QString& why)
{
    if (!done)
        qFatal("%s", qPrintable(why));
}

QString Uin(int meter)
{
    return meter == 0 ? u"KTP"_s : QString::number(0x000D6F0000000000 + meter, 16).toUpper().rightJustified(16, u'0');
}

/// Now and then a silence, a late answer, a clock that drifts.
void Fill(QSqlDatabase database, int meters, int days)
{
    Require(database.transaction(), database.lastError().text());
    QSqlQuery row(database);
    QSqlQuery clock(database);
    const auto counter = u"INSERT INTO \"Counters\" VALUES (%1, '%2', '7', 'SET3', %3, '')"_s;
    for (int meter = 0; meter < meters; ++meter)
        Require(row.exec(counter.arg(meter + 1).arg(Uin(meter)).arg(meter == 0 ? 1 : 0)), row.lastError().text());
    Require(row.prepare(u"INSERT INTO \"Main_Data\" VALUES (?, ?, ?, ?, 0, 0, ?, ?, ?)"_s), row.lastError().text());
    Require(clock.prepare(u"INSERT INTO time_table VALUES (?, ?, ?, ?, ?)"_s), clock.lastError().text());
    const QDateTime now = CurrentDateTime();
    const QDateTime first(now.date().addDays(-days), QTime(0, 0), Qt::UTC);
    quint32 chance = 1;
    for (int sweep = 0;; ++sweep) {
        const QDateTime stamp = first.addSecs(1800LL * sweep + 7);
        if (stamp >= QDateTime(now.date(), now.time(), Qt::UTC))
            break;
        const QString date = stamp.date().toString(Qt::ISODate);
        const QString time = stamp.time().toString(Qt::ISODate);
        const auto add = [&](int meter, int status) {
            const double total = status == 0 ? std::floor(1e4 + sweep * (20 + meter)) / 100 : 0;
            for (const QVariant& value : QVariantList{meter + 1, total, total, 0, date, time, status})
                row.addBindValue(value);
            Require(row.exec(), row.lastError().text());
        };
        for (int meter = 0; meter < meters; ++meter) {
            chance = 1664525 * chance + 1013904223;
            const bool isSilent = chance >> 24 < 8;
            if (isSilent)
                add(meter, 255);
            if (!isSilent || chance >> 16 & 1)
                add(meter, 0);
            const QString shown = stamp.addSecs(sweep / 48 * (meter % 5) / 4).time().toString(Qt::ISODate);
            if (sweep % 48 == 0) {
                for (const QString& value : {Uin(meter), date, shown, date, time})
                    clock.addBindValue(value);
                Require(clock.exec(), clock.lastError().text());
            }
        }
    }
    Require(database.commit(), database.lastError().text());
}

double Ms(const std::function<void()>& work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

void Tell(const char* what, double ms, qint64 bytes)
{
    std::printf("%-44s %8.1f ms %9lld bytes\n", what, ms, static_cast<long long>(bytes));
    std::fflush(stdout);
}

QByteArray TextOf(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray TextOf(const QByteArray& text)
{
    return text;
}

/// The middle one of several.
template <typename Answer>
void Measure(const char* what, Answer answer)
{
    QList<double> times;
    qint64 bytes = 0;
    for (int i = 0; i < 9; ++i)
        times.append(Ms([&] { bytes = TextOf(answer()).size(); }));
    std::sort(times.begin(), times.end());
    Tell(what, times[times.size() / 2], bytes);
}

QJsonObject Object(const LedgerAnswer& answer)
{
    if (const LedgerRefusal* const refusal = std::get_if<LedgerRefusal>(&answer))
        qFatal("%s", qPrintable(refusal->text));
    return std::get<QJsonObject>(answer);
}

/// Steps of the event loop until nothing is under way: {all of it, the longest one}, ms.
std::pair<double, double> Settle(const SiteLedger& ledger)
{
    double sum = 0;
    double longest = 0;
    while (ledger.IsBusy()) {
        const double step = Ms([] { QCoreApplication::processEvents(); });
        sum += step;
        longest = std::max(longest, step);
    }
    return {sum, longest};
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QTemporaryDir directory;
    SysVar vars;
    vars.BDType = u"sqlite3"_s;
    vars.TimeOfQuery = u":[30]0$"_s;
    vars.TimeOfGetTime = u"00:15$"_s;
    vars.BaseName = argc > 1 ? QString::fromLocal8Bit(argv[1]) : directory.filePath(u"z.db"_s);
    if (argc < 2) {
        RegisterDatabase database(vars);
        Require(database.Open(RegisterDatabase::Missing::IsMade) && database.CreateSchema(), database.Error());
        Fill(database.Connection(), qEnvironmentVariable("RAVELIN_METERS", u"200"_s).toInt(),
            qEnvironmentVariable("RAVELIN_DAYS", u"365"_s).toInt());
    }
    std::printf("database: %lld MB\n", static_cast<long long>(QFileInfo(vars.BaseName).size() >> 20));
    const qint64 before = Resident("VmRSS");

    SiteLedger ledger(vars, u"bench"_s, {});
    ledger.Start();
    const auto [first, longest] = Settle(ledger);
    Require(ledger.IsComplete(), ledger.DatabaseState().error);
    std::printf("resident after it: %lld KiB, at most %lld KiB\n", static_cast<long long>(Resident("VmRSS")),
        static_cast<long long>(Resident("VmHWM")));
    Tell("first reading, all of it", first, 0);
    Tell("first reading, the longest slice", longest, 0);
    ledger.Refresh();
    Tell("a look when nothing is new", Settle(ledger).first, 0);

    const QDateTime now = CurrentDateTime();
    const qint64 meter = ledger.MetersNow().constLast().meter.globalId;
    Measure("meters", [&] { return ledger.Meters(); });
    Measure("sweeps of a day", [&] { return ledger.Sweeps(now.addDays(-1), now); });
    Measure("sweeps of 62 days", [&] { return ledger.Sweeps(now.addDays(-62), now); });
    Measure("readings of a week", [&] { return Object(ledger.Readings(meter, now.addDays(-7), now)); });
    Measure("readings, a full page half a year ago",
        [&] { return Object(ledger.Readings(meter, now.addDays(-180), now)); });
    Measure(
        "readings since 1970", [&] { return Object(ledger.Readings(meter, QDateTime::fromSecsSinceEpoch(0), now)); });
    Measure("clocks", [&] { return ledger.Clocks(); });
    Measure("clocks of a meter", [&] { return Object(ledger.Clocks(meter)); });
    Measure("ledger of a day", [&] { return ledger.Ledger(now.date().addDays(-1), now.date().addDays(-1)); });
    Measure("ledger of 31 days", [&] { return ledger.Ledger(now.date().addDays(-31), now.date().addDays(-1)); });
    Measure("ledger of 62 days", [&] { return ledger.Ledger(now.date().addDays(-62), now.date()); });
    Measure("incidents", [&] { return ledger.IncidentsNow(); });
    Measure("nodes", [&] { return ledger.Nodes(); });
    Tell("plain values of all meters", Ms([&] { static_cast<void>(ledger.MetersNow()); }), 0);
    std::printf("resident: %lld KiB before, %lld KiB now, %lld KiB at most\n", static_cast<long long>(before),
        static_cast<long long>(Resident("VmRSS")), static_cast<long long>(Resident("VmHWM")));
    return 0;
}
