#include "substationframes.h"

#include "set3.h"

#include <QtEndian>

QByteArray SubstationFrames::Request(int number, QByteArrayView code)
{
    QByteArray request(4, Qt::Uninitialized);
    qToLittleEndian(number, request.data());
    request.replace(3, 1, code);
    QByteArray crc(2, Qt::Uninitialized);
    qToBigEndian(TCounter_SET3::GetCRC(request), crc.data());
    return request + crc;
}

bool SubstationFrames::IsAnswerTo(const QByteArray& request, const QByteArray& answer)
{
    constexpr qsizetype HeaderSize = 4;
    return answer.size() >= HeaderSize && answer.startsWith(request.first(HeaderSize));
}
