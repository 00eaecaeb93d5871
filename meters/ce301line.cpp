#include "ce301line.h"

#include "ce301.h"
#include "ce301messages.h"

namespace {

QList<SubstationProtocol::Write> Messages(const QString&)
{
    constexpr unsigned int PauseMs = 400;
    using namespace CE301Messages;
    QList<SubstationProtocol::Write> writes;
    for (const QByteArrayView message : {SignOn, OptionSelect, Password, ReadEnergy})
        writes.append({message.toByteArray(), PauseMs});
    return writes;
}

QList<SubstationProtocol::Write> EnergyRequest(const QString& number)
{
    constexpr unsigned int AnswerTimeMs = 1000;
    return Messages(number) << SubstationProtocol::Write{"\r\n", AnswerTimeMs};
}

// No framing and no check: the registers count wherever they stand.
std::optional<Energy> EnergyIn(const QString&, const QByteArray& answer)
{
    Energy energy;
    if (!TCounter_CE301::ReadRegisters(answer, energy.total, energy.t1, energy.t2, energy.t3, energy.t4))
        return std::nullopt;
    return energy;
}

} // namespace

const SubstationProtocol CE301Line{
    .baud = 19200,
    .dataBits = 7,
    .parity = SubstationProtocol::Parity::Even,
    .energyRequest = EnergyRequest,
    .energyIn = EnergyIn,
    .clockRequest = Messages,
    .clockIn = nullptr,
    .checksumIsRight = TCounter_CE301::ChecksumIsRight,
    .answerToDebugOutput = true,
};
