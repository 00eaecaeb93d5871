#include "energy.h"

#include "ce102.h"
#include "ce301.h"
#include "set1.h"
#include "set3.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype Tariffs = 4;

float FromHundredths(quint32 count)
{
    return static_cast<float>(count / 100.0);
}

bool DecodeCE102(const QByteArray& answer, Energy& energy)
{
    bool isAnswer = false;
    quint16 address2 = 0;
    quint16 address1 = 0;
    quint16 command = 0;
    QByteArray data;
    TCounter_CE102::ReceivePack(answer, isAnswer, address2, address1, command, data);
    if (!isAnswer || command != 0x130)
        return false;
    // Each byte is shifted inside a signed 32-bit word: from the fifth byte on they fall onto the first ones again, and
    // a top bit makes the term negative. Stored readings were made that way.
    qint64 sum = 0;
    for (qsizetype i = 0; i < data.size(); ++i)
        sum += static_cast<qint32>(quint32{static_cast<quint8>(data.at(i))} << (8 * i % 32));
    energy.total = static_cast<float>(static_cast<double>(static_cast<quint64>(sum)) / 100.0);
    return true;
}

bool DecodeCE301(const QByteArray& answer, Energy& energy)
{
    return TCounter_CE301::ReceivePack(answer, energy.total, energy.t1, energy.t2, energy.t3, energy.t4);
}

bool DecodeSET3(const QByteArray& answer, Energy& energy)
{
    constexpr qsizetype Width = 4;
    quint32 meter = 0;
    quint8 code = 0;
    QByteArray data;
    if (!TCounter_SET3::ReceivePack(answer, meter, code, data) || data.size() != Tariffs * Width)
        return false;
    energy = EnergyFromTariffs(data, Width);
    return true;
}

bool DecodeSET1(const QByteArray& answer, Energy& energy)
{
    constexpr qsizetype Width = 3;
    quint8 code = 0;
    QByteArray data;
    if (!TCounter_SET1::ReceivePack(answer, code, data) || data.size() != Tariffs * Width || code != 0x15)
        return false;
    energy = EnergyFromTariffs(data, Width);
    return true;
}

} // namespace

bool DecodeEnergy(const QString& model, const QByteArray& answer, Energy& energy)
{
    if (model == "CE102"_L1)
        return DecodeCE102(answer, energy);
    if (model == "CE301"_L1)
        return DecodeCE301(answer, energy);
    if (model == "SET3"_L1)
        return DecodeSET3(answer, energy);
    if (model == "SET1"_L1)
        return DecodeSET1(answer, energy);
    return false;
}

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
