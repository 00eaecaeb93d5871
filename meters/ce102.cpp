#include "ce102.h"

#include "crc.h"
#include "stuffing.h"

#include <QtEndian>

namespace {

constexpr auto Table = MakeCrcTable<quint8>(0xB5);
static_assert(Table[1] == 0xB5 && Table[2] == 0xDF && Table[128] == 0xD5);

struct CE102Rule {
    static constexpr char Begin = '\xC0';
    static constexpr char End = Begin;
    static constexpr char Escape = '\xDB';

    static constexpr std::optional<char> Second(char byte)
    {
        if (byte == Begin)
            return '\xDC';
        if (byte == Escape)
            return '\xDD';
        return std::nullopt;
    }

    static constexpr std::optional<char> Original(char second)
    {
        if (second == '\xDC')
            return Begin;
        if (second == '\xDD')
            return Escape;
        return std::nullopt;
    }
};

// Where things stand in an answer's body.
constexpr qsizetype Address1At = 1;
constexpr qsizetype Address2At = 3;
constexpr qsizetype ServiceAt = 5;
constexpr qsizetype CommandAt = 6;
constexpr qsizetype DataAt = 8;

} // namespace

TCounter_CE102::TCounter_CE102(QObject* parent, unsigned short address, int number)
    : QObject(parent),
      Address(address),
      Number(number)
{
}

quint8 TCounter_CE102::GetCRC(QByteArray data)
{
    return Crc(Table, data);
}

QByteArray TCounter_CE102::CreateQuery(unsigned short command, QByteArray data) const
{
    QByteArray body("\x48\0\0\0\x01\0\0\0\0\0\0\0", 12);
    qToBigEndian<quint16>(Address, body.data() + 1);
    qToLittleEndian<quint16>(command, body.data() + 10);
    body += data;
    body += static_cast<char>(Crc(Table, body));
    return Stuffing::Frame<CE102Rule>(body);
}

QByteArray TCounter_CE102::CreateDataQuery() const
{
    return CreateQuery(0x0130, QByteArray(2, '\0'));
}

bool TCounter_CE102::ReceivePack(QByteArray pack, bool& answer, unsigned short& address2, unsigned short& address1,
    unsigned short& command, QByteArray& data)
{
    const qsizetype begin = pack.indexOf(CE102Rule::Begin);
    const qsizetype end = begin < 0 ? -1 : pack.indexOf(CE102Rule::End, begin + 1);
    if (end < 0)
        return false;

    const QByteArray body = Stuffing::Unstuff<CE102Rule>(QByteArrayView(pack).sliced(begin + 1, end - begin - 1));
    // A body too short for both addresses is refused, also with the right checksum.
    if (body.size() < ServiceAt || Crc(Table, QByteArrayView(body).chopped(1)) != static_cast<quint8>(body.back()))
        return false;
    address2 = qFromLittleEndian<quint16>(body.constData() + Address2At);
    address1 = qFromLittleEndian<quint16>(body.constData() + Address1At);

    const qsizetype dataSize = body.size() - 1 - DataAt;
    if (dataSize < 1)
        return false;
    const auto service = static_cast<quint8>(body.at(ServiceAt));
    if ((service >> 4 & 0x07) != 5 || (service & 0x0F) != dataSize)
        return false;

    answer = (service & 0x80) == 0;
    // Low byte sign-extended: 0x01 0x81 reads 0x0081. Given so; not to be repaired.
    command = static_cast<quint16>(
        256 * static_cast<quint8>(body.at(CommandAt)) + static_cast<qint8>(body.at(CommandAt + 1)));
    data = body.sliced(DataAt, dataSize);
    return true;
}

bool TCounter_CE102::DecodeEnergy(const QByteArray& frame, Energy& energy)
{
    constexpr unsigned short EnergyCommand = 0x0130;
    bool isAnswer = false;
    unsigned short address2 = 0;
    unsigned short address1 = 0;
    unsigned short command = 0;
    QByteArray data;
    ReceivePack(frame, isAnswer, address2, address1, command, data);
    if (!isAnswer || command != EnergyCommand)
        return false;
    // Each byte is shifted inside a signed 32-bit word: from the fifth byte on they fall onto the first ones again, and
    // a top bit makes the term negative. Given so; not to be repaired.
    qint64 sum = 0;
    for (qsizetype i = 0; i < data.size(); ++i)
        sum += static_cast<qint32>(quint32{static_cast<quint8>(data.at(i))} << (8 * i % 32));
    energy.total = static_cast<float>(static_cast<double>(static_cast<quint64>(sum)) / 100.0);
    return true;
}

MeterAnswer TCounter_CE102::Read(const QByteArray& frame)
{
    MeterAnswer answer;
    answer.tellsEnergy = !frame.isEmpty();
    Energy energy;
    if (DecodeEnergy(frame, energy))
        answer.energy = energy;
    return answer;
}
