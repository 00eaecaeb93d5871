#pragma once

#include <QByteArrayView>

/// The five registers of an energy reading, kWh.
struct Energy {
    float total = 0;
    float t1 = 0;
    float t2 = 0;
    float t3 = 0;
    float t4 = 0;
};

/// Four tariff registers of `width` bytes each, least significant byte first, hundredths of a kWh; the total is their
/// 32-bit sum.
[[nodiscard]] Energy EnergyFromTariffs(QByteArrayView bytes, qsizetype width);

/// Every register times `factor`, in double precision.
[[nodiscard]] Energy Multiplied(const Energy& energy, double factor);
