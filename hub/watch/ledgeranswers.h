#pragma once

#include "ledgerbook.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>

/// What is known, as JSON. Times are local with their offset, energies kWh, texts of strangers harmless.
namespace LedgerAnswers {

/// {"globalId", "uin", "number", "model", "substation", "inRegister"}.
[[nodiscard]] QJsonObject MeterObject(const LedgerMeter& meter);

[[nodiscard]] QJsonObject Meters(const LedgerSnapshot& known);

/// `from` and `to` are wall times.
[[nodiscard]] QJsonObject Sweeps(const LedgerSnapshot& known, const QDateTime& from, const QDateTime& to);

/// JSON text: as an object it would be many times larger.
[[nodiscard]] QByteArray Report(const LedgerSnapshot& known, QDate first, QDate last, QTime deadline);

[[nodiscard]] QJsonObject Incidents(const LedgerSnapshot& known);

/// Of one clock. `clock` may be one that was never read.
[[nodiscard]] QJsonObject ClockObject(const MeterClock& clock, const QList<LedgerMeter>& meters);
[[nodiscard]] QJsonObject Clocks(const LedgerSnapshot& known);
[[nodiscard]] QJsonArray ClockReadings(const QList<ClockOffset>& offsets);

/// `heard` by UIN: when something came from the node, or invalid. `now` is wall time.
[[nodiscard]] QJsonObject Nodes(
    const LedgerSnapshot& known, const QHash<QString, QDateTime>& heard, const QDateTime& now);

/// Rows of one meter by their stamps. What lies beyond `most` of them is left out, and "next" tells where to go on.
[[nodiscard]] QJsonObject Readings(const LedgerMeter& meter, const StoredDay& sweeps, qsizetype most);

/// What came of the day; with what later days tell of its deadline.
[[nodiscard]] QList<DayCounts> CountsOf(const LedgerSnapshot& known, QDate first, QDate last, QTime deadline);

/// Readings due and come, by place, of the days from `first` to `last`.
struct Sums {
    int due = 0;
    int read = 0;
};
[[nodiscard]] QList<Sums> SumsOf(const LedgerSnapshot& known, QDate first, QDate last);

} // namespace LedgerAnswers
