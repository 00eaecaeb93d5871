#include "virtualmeter.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

using MeterAnswers::Tariffs;

namespace {

constexpr int SecondsInHour = 3600;

/// Share of the day's energy that is used in an hour, and the tariff it is counted in.
struct Hour {
    int share;
    size_t tariff;
};

constexpr size_t Day = 0;
constexpr size_t Night = 1;
constexpr size_t Morning = 2;
constexpr size_t Evening = 3;

constexpr std::array<Hour, 24> LoadProfile{{
    {3, Night}, {2, Night}, {2, Night}, {2, Night}, {2, Night}, {3, Night}, // 00:00 to 06:00
    {5, Night}, {7, Morning}, {6, Morning}, {5, Morning}, {4, Day}, {4, Day}, // to 12:00
    {5, Day}, {5, Day}, {4, Day}, {4, Day}, {5, Day}, {7, Evening}, // to 18:00
    {9, Evening}, {10, Evening}, {9, Evening}, {7, Evening}, {5, Evening}, {5, Night}, // to 24:00
}};

constexpr qint64 WholeDay = std::accumulate(
    LoadProfile.begin(), LoadProfile.end(), qint64{0}, [](qint64 sum, const Hour& hour) { return sum + hour.share; });

} // namespace

bool IsWithin(const QList<Span>& spans, const QDateTime& time)
{
    return std::any_of(
        spans.begin(), spans.end(), [&time](const Span& span) { return time >= span.from && time < span.until; });
}

VirtualMeter::VirtualMeter(quint32 seed, const QDateTime& begin, double clockDriftPpm) : driftPpm(clockDriftPpm)
{
    std::mt19937 random(seed);
    dailyHundredths = 300 + static_cast<quint32>(random() % 1700);
    std::generate(installed.begin(), installed.end(), [&] { return static_cast<quint32>(random() % 10'000); });
    SetClock(begin, begin);
}

Tariffs VirtualMeter::EnergyAt(const QDateTime& now) const
{
    // Elapsed time, not the time of day: at the change to winter time an hour is shown twice.
    const qint64 running = std::max<qint64>(0, QDate(2014, 1, 1).startOfDay().secsTo(now));
    const qint64 days = running / (24 * SecondsInHour);
    qint64 today = running % (24 * SecondsInHour);
    std::array<qint64, 4> used{};
    for (const Hour& hour : LoadProfile) {
        used.at(hour.tariff) += hour.share * (days * SecondsInHour + std::clamp<qint64>(today, 0, SecondsInHour));
        today -= SecondsInHour;
    }
    Tariffs tariffs = installed;
    for (size_t i = 0; i < tariffs.size(); ++i)
        tariffs.at(i) += static_cast<quint32>(dailyHundredths * used.at(i) / (WholeDay * SecondsInHour));
    return tariffs;
}

Tariffs VirtualMeter::EnergyAt(QDateTime now, const RegisterFaults& faults) const
{
    for (const Span& span : faults.stuck)
        if (now >= span.from && now < span.until)
            now = span.from;
    Tariffs tariffs = EnergyAt(now);
    for (const QDateTime& exchange : faults.exchanged)
        if (now >= exchange) {
            const Tariffs before = EnergyAt(exchange);
            for (size_t i = 0; i < tariffs.size(); ++i)
                tariffs.at(i) = EnergyAt(now).at(i) - before.at(i);
        }
    for (const QDateTime& jump : faults.jumps)
        for (quint32& tariff : tariffs)
            tariff += now >= jump ? RegisterFaults::JumpHundredths : 0;
    return tariffs;
}

QDateTime VirtualMeter::ClockAt(const QDateTime& now) const
{
    const qint64 elapsed = setAt.msecsTo(now);
    return shownThen.addMSecs(elapsed + std::llround(static_cast<double>(elapsed) * driftPpm / 1e6));
}

void VirtualMeter::SetClock(const QDateTime& shown, const QDateTime& now)
{
    shownThen = QDateTime(shown.date(), shown.time(), Qt::UTC);
    setAt = now;
}

quint32 Total(const Tariffs& tariffs)
{
    return std::accumulate(tariffs.begin(), tariffs.end(), quint32{0});
}

// FNV-1a: a hash that is the same on every machine.
quint32 SeedOf(const QByteArray& name, quint32 seed)
{
    quint32 hash = 2166136261U ^ seed;
    for (const char byte : name)
        hash = (hash ^ static_cast<quint8>(byte)) * 16777619U;
    return hash;
}
