// Answers to kWh: what no meter sends leaves the registers alone, what one sends is what they show.

#include "fuzztarget.h"
#include "meteranswers.h"
#include "metermodel.h"

#include <algorithm>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

constexpr float Kept = -1;

QList<float> Registers(const Energy& energy)
{
    return {energy.total, energy.t1, energy.t2, energy.t3, energy.t4};
}

void RequireSane(const QString& model, const QByteArray& answer)
{
    Energy energy{Kept, Kept, Kept, Kept, Kept};
    const bool decoded = FindMeterModel(model)->decodeEnergy(answer, energy);
    QList<float> registers = Registers(energy);
    if (decoded && model == "CE102"_L1)
        Require(registers.takeFirst() >= 0);
    if (!decoded || model == "CE102"_L1)
        Require(registers == QList<float>(registers.size(), Kept));
    else
        for (const float value : registers)
            Require(value >= 0 && value <= 42949672.0F); // 32 bits of hundredths
}

void RequireShown(const QString& model, const QByteArray& answer, const QList<float>& expected)
{
    Energy energy{Kept, Kept, Kept, Kept, Kept};
    Require(FindMeterModel(model)->decodeEnergy(answer, energy));
    Require(Registers(energy) == expected);
}

void RequireShown(MeterAnswers::Tariffs counts)
{
    QList<float> tariffs;
    quint32 sum = 0;
    for (quint32& count : counts) {
        count >>= 8; // the narrowest meter has 24 bits
        sum += count;
        tariffs += static_cast<float>(count / 100.0);
    }
    const auto total = static_cast<float>(sum / 100.0);
    const float roundedTwice = static_cast<float>(sum) / 100.0F;
    RequireShown(u"CE102"_s, MeterAnswers::EnergyCE102(1, sum), {total, Kept, Kept, Kept, Kept});
    RequireShown(u"CE301"_s, MeterAnswers::EnergyCE301(counts), QList<float>{total} + tariffs);
    RequireShown(u"SET1"_s, MeterAnswers::EnergySET1(counts), QList<float>{roundedTwice} + tariffs);
    RequireShown(u"SET3"_s, MeterAnswers::EnergySET3(1, counts), QList<float>{roundedTwice} + tariffs);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const QByteArray input = InPlace(bytes, size);
    for (const QString& model : {u"CE102"_s, u"SET1"_s, u"SET3"_s})
        RequireSane(model, input);
    MeterAnswers::Tariffs counts{};
    std::memcpy(counts.data(), bytes, std::min(size, sizeof counts));
    RequireShown(counts);
    return 0;
}
