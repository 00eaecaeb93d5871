// Written from the meters' frame tables alone. The checksums are computed bit by bit and the stuffing is done by text
// replacement: nothing here is shared with the decoders.
#include "meteranswers.h"

#include <numeric>

using namespace Qt::StringLiterals;

namespace {

using MeterAnswers::Checksum;
using MeterAnswers::Tariffs;

QByteArray LittleEndian(quint32 value, int size)
{
    QByteArray bytes;
    for (int i = 0; i < size; ++i)
        bytes += static_cast<char>(value >> 8 * i);
    return bytes;
}

QByteArray LittleEndian(const Tariffs& tariffs, int size)
{
    QByteArray bytes;
    for (const quint32 tariff : tariffs)
        bytes += LittleEndian(tariff, size);
    return bytes;
}

/// Remainder of the polynomial division of `bytes` by `generator` with its leading term, of degree `width`.
quint32 Remainder(const QByteArray& bytes, int width, quint32 generator)
{
    quint32 remainder = 0;
    for (const char byte : bytes + QByteArray(width / 8, '\0'))
        for (int bit = 7; bit >= 0; --bit) {
            remainder = remainder << 1 | (static_cast<quint8>(byte) >> bit & 1U);
            if ((remainder >> width) != 0)
                remainder ^= generator;
        }
    return remainder;
}

/// `sum` as the byte that is sent.
char Sent(quint32 sum, Checksum checksum)
{
    return static_cast<char>(checksum == Checksum::Right ? sum : sum ^ 1U);
}

quint32 SumOf(const QByteArray& bytes)
{
    return std::accumulate(bytes.begin(), bytes.end(), quint32{0});
}

QByteArray AnswerCE301(const QByteArray& text, Checksum checksum)
{
    const QByteArray covered = text + '\x03';
    return '\x02' + covered + Sent(static_cast<quint8>(MeterAnswers::SumCE301(covered)), checksum);
}

QByteArray AnswerSET3(quint32 meter, char code, const QByteArray& data, Checksum checksum)
{
    const QByteArray covered = LittleEndian(meter, 3) + code + data;
    const QByteArray crc = MeterAnswers::CrcSET3(covered);
    return '\x82' + covered + crc.at(0) + Sent(static_cast<quint8>(crc.at(1)), checksum);
}

QByteArray ItemCE301(quint64 hundredths)
{
    return "ET0PE(" + QByteArray::number(hundredths / 100) + '.'
        + QByteArray::number(hundredths % 100).rightJustified(2, '0') + ')';
}

/// Seconds, minutes, hours, weekday, day, month, year, each as two decimal digits in a byte.
QByteArray ClockDigits(const QDateTime& time)
{
    const QDate date = time.date();
    return QByteArray::fromHex(time.toString(u"ssmmHH"_s).toLatin1() + '0' + QByteArray::number(date.dayOfWeek())
        + date.toString(u"ddMMyy"_s).toLatin1());
}

} // namespace

QByteArray MeterAnswers::CrcSET3(const QByteArray& covered)
{
    const quint32 crc = Remainder(covered, 16, 0x11021);
    return QByteArray(1, static_cast<char>(crc >> 8)) + static_cast<char>(crc);
}

char MeterAnswers::SumCE301(const QByteArray& covered)
{
    return static_cast<char>(SumOf(covered) & 0x7F);
}

QByteArray MeterAnswers::EnergyCE102(quint16 address, quint32 total, Checksum checksum)
{
    // Service byte: an answer of class 5 with four data bytes.
    QByteArray body = '\x48' + LittleEndian(address, 2) + "\x01\x00\x54\x01\x30"_ba + LittleEndian(total, 4);
    body += Sent(Remainder(body, 8, 0x1B5), checksum);
    return '\xC0' + body.replace("\xDB"_ba, "\xDB\xDD"_ba).replace("\xC0"_ba, "\xDB\xDC"_ba) + '\xC0';
}

QByteArray MeterAnswers::EnergyCE301(const Tariffs& tariffs, Checksum checksum)
{
    QByteArray text = ItemCE301(std::accumulate(tariffs.begin(), tariffs.end(), quint64{0}));
    for (const quint32 tariff : tariffs)
        text += ItemCE301(tariff);
    return AnswerCE301(text, checksum);
}

QByteArray MeterAnswers::EnergySET1(const Tariffs& tariffs, Checksum checksum)
{
    const QByteArray data = LittleEndian(tariffs, 3);
    return "\x82\x15" + data + Sent(-SumOf(data), checksum);
}

QByteArray MeterAnswers::EnergySET3(quint32 meter, const Tariffs& tariffs, Checksum checksum)
{
    return AnswerSET3(meter, '\x12', LittleEndian(tariffs, 4), checksum);
}

QByteArray MeterAnswers::ClockCE301(QTime time, Checksum checksum)
{
    return AnswerCE301("TIME_(" + time.toString(u"HH:mm:ss"_s).toLatin1() + ')', checksum);
}

QByteArray MeterAnswers::ClockSET1(const QDateTime& time)
{
    return "\x82P" + ClockDigits(time);
}

QByteArray MeterAnswers::ClockSET3(quint32 meter, const QDateTime& time, Checksum checksum)
{
    return AnswerSET3(meter, '\x10', ClockDigits(time), checksum);
}

QByteArray MeterAnswers::Alarm()
{
    return "\xC0\x82\x35\x35\xC1"_ba;
}

QByteArray MeterAnswers::CutShort(const QByteArray& answer)
{
    return answer.first(answer.size() / 2);
}
