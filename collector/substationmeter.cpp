// The substation meter hangs on a serial port of this computer. The port is opened, used and closed within one call, so
// it is free between sweeps; what comes after the fixed pause is lost.

#include "ce301.h"
#include "ce301messages.h"
#include "clock.h"
#include "clocktexts.h"
#include "collector.h"
#include "maindatabase.h"
#include "statements.h"
#include "substationframes.h"
#include "substationline.h"

#include <QDebug>

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned int AnswerTimeMs = 1000;

void RequestEnergyCE301(SubstationLine& line)
{
    constexpr unsigned int PauseMs = 400;
    using namespace CE301Messages;
    for (const QByteArrayView message : {SignOn, OptionSelect, Password, ReadEnergy})
        line.Write(message, PauseMs);
}

} // namespace

bool TCollector::ReadPowerFromKTP(float& total, float& t1, float& t2, float& t3, float& t4)
{
    const std::optional<Meter> meter = SubstationMeter();
    if (!meter)
        return false;
    std::optional<Energy> energy;
    if (meter->model == "CE301"_L1)
        energy = ReadSubstationCE301();
    else if (meter->model == "SET3"_L1)
        energy = ReadSubstationSET3(meter->number);
    if (!energy)
        return false;

    const Energy scaled = Multiplied(*energy, vars.CounterKTPMultiplier);
    total = scaled.total;
    t1 = scaled.t1;
    t2 = scaled.t2;
    t3 = scaled.t3;
    t4 = scaled.t4;
    return true;
}

QDateTime TCollector::GetTimeFromCouner()
{
    QDateTime noAnswer = CurrentDateTime().addDays(-1);
    const std::optional<Meter> meter = SubstationMeter();
    if (!meter)
        return noAnswer;
    if (meter->model == "CE301"_L1) {
        SubstationLine line(vars.PortCounterKTP, SubstationLine::CE301);
        RequestEnergyCE301(line);
    } else if (meter->model == "SET3"_L1) {
        constexpr qsizetype ClockAt = 3;
        constexpr qsizetype ClockSize = 7;
        const QByteArray clock = AskSubstationSET3(meter->number, "\x10"_ba).mid(ClockAt, ClockSize);
        if (clock.size() == ClockSize)
            return ClockTexts::FromBcd(clock);
    }
    return noAnswer;
}

/// The register's row of the substation meter.
std::optional<TCollector::Meter> TCollector::SubstationMeter()
{
    QSqlQuery row = MainBase::Execute(Statements::SubstationNumberAndModel);
    if (row.next())
        return Meter{row.value(0).toString(), row.value(1).toString()};
    LogText(tr("Read database failed") + ": "_L1 + row.lastError().text());
    return std::nullopt;
}

std::optional<Energy> TCollector::ReadSubstationCE301()
{
    SubstationLine line(vars.PortCounterKTP, SubstationLine::CE301);
    RequestEnergyCE301(line);
    line.Write("\r\n", AnswerTimeMs);
    const QByteArray answer = line.TakeAnswer();
    emit CounterPortData(answer);
    qDebug() << answer;

    Energy energy;
    if (!TCounter_CE301::ReadRegisters(answer, energy.total, energy.t1, energy.t2, energy.t3, energy.t4))
        return std::nullopt;
    return energy;
}

std::optional<Energy> TCollector::ReadSubstationSET3(const QString& number)
{
    constexpr qsizetype TariffsAt = 4;
    constexpr qsizetype TariffSize = 4;
    const QByteArray tariffs = AskSubstationSET3(number, "\x12\x00"_ba).mid(TariffsAt, 4 * TariffSize);
    if (tariffs.size() < 4 * TariffSize)
        return std::nullopt;
    return EnergyFromTariffs(tariffs, TariffSize);
}

/// Empty when the answer is not one to this request, or `number` is none.
QByteArray TCollector::AskSubstationSET3(const QString& number, const QByteArray& code)
{
    SubstationLine line(vars.PortCounterKTP, SubstationLine::SET3);
    bool isNumber = false;
    const QByteArray request = SubstationFrames::Request(number.toInt(&isNumber), code);
    if (!isNumber)
        return {};
    line.Write(request, AnswerTimeMs);
    const QByteArray answer = line.TakeAnswer();
    emit CounterPortData(answer);
    return SubstationFrames::IsAnswerTo(request, answer) ? answer : QByteArray();
}
