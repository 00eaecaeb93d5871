#include "energy.h"

#include <array>

namespace {

constexpr qsizetype Tariffs = 4;

float FromHundredths(quint32 count)
{
    return static_cast<float>(count / 100.0);
}

} // namespace

Energy EnergyFromTariffs(QByteArrayView bytes, qsizetype width)
{
    Q_ASSERT(bytes.size() == Tariffs * width);
    std::array<quint32, Tariffs> counts{};
    quint32 sum = 0;
    for (qsizetype tariff = 0; tariff < Tariffs; ++tariff) {
        quint32& count = counts[static_cast<size_t>(tariff)];
        for (qsizetype byte = width - 1; byte >= 0; --byte)
            count = count << 8 | static_cast<quint8>(bytes[tariff * width + byte]);
        sum += count;
    }
    return {static_cast<float>(sum) / 100.0F, FromHundredths(counts[0]), FromHundredths(counts[1]),
        FromHundredths(counts[2]), FromHundredths(counts[3])};
}

Energy Multiplied(const Energy& energy, double factor)
{
    const auto times = [factor](float value) { return static_cast<float>(value * factor); };
    return {times(energy.total), times(energy.t1), times(energy.t2), times(energy.t3), times(energy.t4)};
}
