// The substation meter is connected to a serial port of this computer. The port is opened, used and closed within one
// call, so it is free between sweeps; what comes after the fixed pause is lost.

#include "clock.h"
#include "collector.h"
#include "maindatabase.h"
#include "metermodel.h"
#include "service.h"
#include "statements.h"
#include "substationline.h"

#include <QDebug>

using namespace Qt::StringLiterals;

namespace {

const SubstationProtocol* ProtocolOf(const QString& modelName)
{
    const MeterModel* const model = FindMeterModel(modelName);
    return model ? model->substation : nullptr;
}

void WriteAll(SubstationLine& line, const QList<SubstationProtocol::Write>& request)
{
    for (const auto& [bytes, pauseMs] : request)
        line.Write(bytes, pauseMs);
}

} // namespace

bool TCollector::ReadPowerFromKTP(float& total, float& t1, float& t2, float& t3, float& t4)
{
    const std::optional<Energy> energy = ReadSubstation();
    if (!energy)
        return false;
    total = energy->total;
    t1 = energy->t1;
    t2 = energy->t2;
    t3 = energy->t3;
    t4 = energy->t4;
    return true;
}

/// The registers, times the multiplier.
std::optional<Energy> TCollector::ReadSubstation()
{
    Service::Step();
    const std::optional<Meter> meter = SubstationMeter();
    const SubstationProtocol* const protocol = meter ? ProtocolOf(meter->model) : nullptr;
    if (!protocol)
        return std::nullopt;
    SubstationLine line(vars.PortCounterKTP, *protocol);
    const QList<SubstationProtocol::Write> request = protocol->energyRequest(meter->number);
    if (request.isEmpty())
        return std::nullopt;
    WriteAll(line, request);
    const QByteArray answer = line.TakeAnswer();
    emit CounterPortData(answer);
    if (protocol->answerToDebugOutput)
        qDebug() << answer;
    if (vars.field.Has(FieldConduct::Checksums) && !protocol->checksumIsRight(answer))
        return std::nullopt;
    const std::optional<Energy> energy = protocol->energyIn(meter->number, answer);
    return energy ? std::optional(Multiplied(*energy, vars.CounterKTPMultiplier)) : std::nullopt;
}

QDateTime TCollector::GetTimeFromCouner()
{
    QDateTime noAnswer = CurrentDateTime().addDays(-1);
    const std::optional<Meter> meter = SubstationMeter();
    const SubstationProtocol* const protocol = meter ? ProtocolOf(meter->model) : nullptr;
    if (!protocol)
        return noAnswer;
    SubstationLine line(vars.PortCounterKTP, *protocol);
    const QList<SubstationProtocol::Write> request = protocol->clockRequest(meter->number);
    WriteAll(line, request);
    if (request.isEmpty() || !protocol->clockIn)
        return noAnswer;
    const QByteArray answer = line.TakeAnswer();
    emit CounterPortData(answer);
    return protocol->clockIn(meter->number, answer).value_or(noAnswer);
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
