// The bytes are written out again, though meters/ has constants of them: this side must notice when those change.
#include "meterdialect.h"

#include "virtualmeter.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace MeterAnswers;

namespace {

QByteArray RequestSET3(quint32 number, const QByteArray& command)
{
    QByteArray request;
    for (const int shift : {0, 8, 16})
        request += static_cast<char>(number >> shift);
    request += command;
    return request + CrcSET3(request);
}

QByteArray RequestSET3Clock(quint32 number)
{
    return RequestSET3(number, "\x10"_ba);
}

QByteArray RequestSET3Energy(quint32 number)
{
    return RequestSET3(number, "\x12\x00"_ba);
}

/// "TIME_(hh:mm:ss)"; none when the request is another, or damaged.
std::optional<QTime> TimeWritten(const QByteArray& request)
{
    constexpr QByteArrayView Opening = "\x01W1\x02TIME_(";
    constexpr QByteArrayView Closing = ")\x03";
    if (request.size() != Opening.size() + 8 + Closing.size() + 1 || !request.startsWith(Opening))
        return std::nullopt;
    const QByteArray covered = request.sliced(1).chopped(1);
    const QTime time = QTime::fromString(QString::fromLatin1(request.sliced(Opening.size(), 8)), u"HH:mm:ss"_s);
    if (!covered.endsWith(Closing) || !request.endsWith(SumCE301(covered)) || !time.isValid())
        return std::nullopt;
    return time;
}

constexpr std::array<MeterDialect, 4> Dialects{{
    {
        .model = "CE102",
        .hasTariffs = false,
        .energy =
            [](quint32 number, const Tariffs& tariffs, Checksum checksum) {
                return EnergyCE102(static_cast<quint16>(number), Total(tariffs), checksum);
            },
    },
    {
        .model = "CE301",
        .energy = [](quint32, const Tariffs& tariffs, Checksum checksum) { return EnergyCE301(tariffs, checksum); },
        .clock = [](quint32, const QDateTime& shown, Checksum checksum) { return ClockCE301(shown.time(), checksum); },
        .clockRequest = [](quint32) { return "\x01R1\x02TIME_()\x03g"_ba; },
        .clockWrite = TimeWritten,
        .lineBaud = 19200,
        .lineEnergyRequest =
            [](quint32) {
                return "\x05/?!\r\n\x06"
                       "061\r\n\x01P1\x02(246810)\x03\x0C\x01R1\x02"
                       "ET0PE()\x03"
                       "7\r\n"_ba;
            },
    },
    {
        .model = "SET1",
        .energy = [](quint32, const Tariffs& tariffs, Checksum checksum) { return EnergySET1(tariffs, checksum); },
        .clock = [](quint32, const QDateTime& shown, Checksum) { return ClockSET1(shown); },
        .clockRequest = [](quint32) { return "P"_ba; },
    },
    {
        .model = "SET3",
        .energy = EnergySET3,
        .clock = ClockSET3,
        .clockRequest = RequestSET3Clock,
        .lineBaud = 2400,
        .lineEnergyRequest = RequestSET3Energy,
        .lineClockRequest = RequestSET3Clock,
    },
}};

} // namespace

const MeterDialect* FindDialect(QByteArrayView model)
{
    const auto found = std::find_if(
        Dialects.begin(), Dialects.end(), [&](const MeterDialect& dialect) { return dialect.model == model; });
    return found == Dialects.end() ? nullptr : found;
}

QByteArray EnergyText(const MeterDialect& dialect, const Tariffs& tariffs)
{
    const auto kWh = [](quint32 hundredths) { return QByteArray::number(hundredths / 100.0, 'f', 2); };
    QByteArray text = kWh(Total(tariffs));
    if (dialect.hasTariffs)
        for (const quint32 tariff : tariffs)
            text += ' ' + kWh(tariff);
    return text;
}
