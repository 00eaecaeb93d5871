#include "set1.h"

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
