#pragma once

#include <QByteArray>
#include <QString>

/// The five registers of an energy reading, kWh.
struct Energy {
    float total = 0;
    float t1 = 0;
    float t2 = 0;
    float t3 = 0;
    float t4 = 0;
};

/// Decodes `answer`, a meter's frame without the node frame around it. A CE102 knows its total alone. On false, and
/// where a model has no such register, `energy` keeps its values; of a CE301 those read before the fault may be new.
[[nodiscard]] bool DecodeEnergy(const QString& model, const QByteArray& answer, Energy& energy);

/// Four tariff registers of `width` bytes each, least significant byte first, hundredths of a kWh; the total is their
/// 32-bit sum.
[[nodiscard]] Energy EnergyFromTariffs(QByteArrayView bytes, qsizetype width);

/// Every register times `factor`, in double precision.
[[nodiscard]] Energy Multiplied(const Energy& energy, double factor);
