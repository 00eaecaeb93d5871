#include "set3.h"

#include "crc.h"
#include "setanswer.h"

#include <QtEndian>

namespace {

constexpr auto Table = MakeCrcTable<quint16>(0x1021);
static_assert(Crc(Table, "123456789") == 0x31C3); // the published check value

SetAnswer TakeApart(const QByteArray& frame)
{
    SetAnswer answer;
    quint32 meter = 0;
    answer.valid = TCounter_SET3::ReceivePack(frame, meter, answer.code, answer.data);
    return answer;
}

std::optional<Energy> EnergyIn(const SetAnswer& answer)
{
    constexpr qsizetype TariffSize = 4;
    constexpr qsizetype TariffsSize = 4 * TariffSize;
    if (!answer.valid || answer.data.size() != TariffsSize)
        return std::nullopt;
    return EnergyFromTariffs(answer.data, TariffSize);
}

} // namespace

TCounter_SET3::TCounter_SET3(QObject* parent, unsigned short address, int number)
    : QObject(parent),
      Address(address),
      Number(number)
{
}

quint16 TCounter_SET3::GetCRC(QByteArray data)
{
    return Crc(Table, data);
}

QByteArray TCounter_SET3::CreateDataQuery()
{
    return {};
}

QByteArray TCounter_SET3::CreateQuery(unsigned char command, unsigned int meter)
{
    if (command != 0x10)
        return {};
    QByteArray request(7, '\x04');
    // Three bytes of the number, least significant first, then the command.
    qToLittleEndian<quint32>((meter & 0x00FFFFFF) | quint32{command} << 24, request.data() + 1);
    qToBigEndian<quint16>(Crc(Table, QByteArrayView(request).sliced(1, 4)), request.data() + 5);
    return request;
}

bool TCounter_SET3::ReceivePack(QByteArray pack, unsigned int& meter, unsigned char& code, QByteArray& data)
{
    constexpr qsizetype CodeAt = 4;
    constexpr qsizetype DataAt = 5;
    constexpr qsizetype CrcSize = 2;

    if (pack.size() <= DataAt + CrcSize || !pack.startsWith('\x82'))
        return false;
    const qsizetype crcAt = pack.size() - CrcSize;
    if (Crc(Table, QByteArrayView(pack).sliced(1, crcAt - 1)) != qFromBigEndian<quint16>(pack.constData() + crcAt))
        return false;

    // The number's top byte is sign-extended: 0x800000 reads 0xFF800000. Given so; not to be repaired.
    meter = static_cast<quint32>(qFromLittleEndian<qint32>(pack.constData()) >> 8);
    code = static_cast<quint8>(pack.at(CodeAt));
    data = pack.sliced(DataAt, crcAt - DataAt);
    return true;
}

bool TCounter_SET3::DecodeEnergy(const QByteArray& frame, Energy& energy)
{
    const std::optional<Energy> decoded = EnergyIn(TakeApart(frame));
    energy = decoded.value_or(energy);
    return decoded.has_value();
}

std::optional<BcdClock> TCounter_SET3::DecodeClock(const QByteArray& frame)
{
    return ClockIn(TakeApart(frame));
}

MeterAnswer TCounter_SET3::Read(const QByteArray& frame)
{
    return ReadSetAnswer(TakeApart(frame), EnergyIn);
}

QByteArray TCounter_SET3::TimeQuery(quint32 number)
{
    return CreateQuery(0x10, number);
}
