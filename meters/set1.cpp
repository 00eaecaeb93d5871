#include "set1.h"

#include "nodecommands.h"
#include "setanswer.h"

using namespace Qt::StringLiterals;

namespace {

SetAnswer TakeApart(const QByteArray& frame)
{
    SetAnswer answer;
    answer.valid = TCounter_SET1::ReceivePack(frame, answer.code, answer.data);
    return answer;
}

std::optional<Energy> EnergyIn(const SetAnswer& answer)
{
    constexpr qsizetype TariffSize = 3;
    constexpr qsizetype TariffsSize = 4 * TariffSize;
    constexpr quint8 EnergyCode = 0x15;
    if (!answer.valid || answer.code != EnergyCode || answer.data.size() != TariffsSize)
        return std::nullopt;
    return EnergyFromTariffs(answer.data, TariffSize);
}

} // namespace

TCounter_SET1::TCounter_SET1(QObject* parent, unsigned short address, int number)
    : QObject(parent),
      Address(address),
      Number(number)
{
}

qint32 TCounter_SET1::GetCRC(QByteArray data)
{
    quint32 sum = 0;
    for (const char byte : QByteArrayView(data))
        sum += static_cast<quint32>(static_cast<qint8>(byte));
    return static_cast<qint32>(-sum);
}

QByteArray TCounter_SET1::CreateDataQuery()
{
    return {};
}

QByteArray TCounter_SET1::CreateQuery(unsigned char /*command*/, unsigned int /*meter*/)
{
    return {};
}

bool TCounter_SET1::ReceivePack(QByteArray pack, unsigned char& code, QByteArray& data)
{
    constexpr qsizetype DataAt = 2;
    constexpr qsizetype ShortSize = 7;
    constexpr qsizetype LongSize = 12;

    if (pack.size() < 8 || !pack.startsWith('\x82'))
        return false;
    code = static_cast<quint8>(pack.at(1));
    if (code == 'P') {
        data = pack.mid(DataAt, ShortSize);
        return true;
    }
    if (pack.size() <= DataAt + LongSize)
        return false;
    const QByteArray bytes = pack.sliced(DataAt, LongSize);
    if (static_cast<char>(GetCRC(bytes)) != pack.at(DataAt + LongSize))
        return false;
    data = bytes;
    return true;
}

bool TCounter_SET1::DecodeEnergy(const QByteArray& frame, Energy& energy)
{
    const std::optional<Energy> decoded = EnergyIn(TakeApart(frame));
    energy = decoded.value_or(energy);
    return decoded.has_value();
}

std::optional<BcdClock> TCounter_SET1::DecodeClock(const QByteArray& frame)
{
    return ClockIn(TakeApart(frame));
}

MeterAnswer TCounter_SET1::Read(const QByteArray& frame)
{
    return ReadSetAnswer(TakeApart(frame), EnergyIn);
}

QByteArray TCounter_SET1::TimeQuery(quint32 /*number*/)
{
    return NodeCommands::ToMeter("P"_ba);
}
