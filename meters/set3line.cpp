#include "set3line.h"

#include "bcdclock.h"
#include "set3.h"
#include "substationframes.h"

using namespace Qt::StringLiterals;

namespace {

const auto EnergyCode = "\x12\x00"_ba;
const auto ClockCode = "\x10"_ba;

/// Empty when `number` is none.
QByteArray Frame(const QString& number, const QByteArray& code)
{
    bool isNumber = false;
    const int address = number.toInt(&isNumber);
    return isNumber ? SubstationFrames::Request(address, code) : QByteArray();
}

QList<SubstationProtocol::Write> Request(const QByteArray& frame)
{
    constexpr unsigned int AnswerTimeMs = 1000;
    return frame.isEmpty() ? QList<SubstationProtocol::Write>()
                           : QList<SubstationProtocol::Write>{{frame, AnswerTimeMs}};
}

QList<SubstationProtocol::Write> EnergyRequest(const QString& number)
{
    return Request(Frame(number, EnergyCode));
}

QList<SubstationProtocol::Write> ClockRequest(const QString& number)
{
    return Request(Frame(number, ClockCode));
}

/// `size` bytes of `answer` from `at` on; empty when there are fewer, or it is none to `request`.
QByteArray Data(const QByteArray& request, const QByteArray& answer, qsizetype at, qsizetype size)
{
    return SubstationFrames::IsAnswerTo(request, answer) && answer.size() >= at + size ? answer.sliced(at, size)
                                                                                       : QByteArray();
}

std::optional<Energy> EnergyIn(const QString& number, const QByteArray& answer)
{
    constexpr qsizetype TariffSize = 4;
    const QByteArray tariffs = Data(Frame(number, EnergyCode), answer, 4, 4 * TariffSize);
    return tariffs.isEmpty() ? std::nullopt : std::optional(EnergyFromTariffs(tariffs, TariffSize));
}

/// The CRC-16 of a whole message with its checksum behind it is 0.
bool ChecksumIsRight(const QByteArray& answer)
{
    constexpr qsizetype Size = 22; // number, code, four tariffs, checksum
    return answer.size() >= Size && TCounter_SET3::GetCRC(answer.first(Size)) == 0;
}

std::optional<QDateTime> ClockIn(const QString& number, const QByteArray& answer)
{
    constexpr qsizetype ClockAt = 3; // where the request code is repeated: it is read as the seconds
    const QByteArray clock = Data(Frame(number, ClockCode), answer, ClockAt, BcdClock::Size);
    return clock.isEmpty() ? std::nullopt : std::optional(ReadBcdClock(clock).Local());
}

} // namespace

const SubstationProtocol SET3Line{
    .baud = 2400,
    .dataBits = 8,
    .parity = SubstationProtocol::Parity::None,
    .energyRequest = EnergyRequest,
    .energyIn = EnergyIn,
    .clockRequest = ClockRequest,
    .clockIn = ClockIn,
    .checksumIsRight = ChecksumIsRight,
};
