// What the nodes answer: fragments are gathered until they hold a frame, the frame is decoded by the meter's model, and
// the reading is stored under the sweep that is current when it arrives, also when it answers an earlier one.

#include "clock.h"
#include "collector.h"
#include "log.h"
#include "maindatabase.h"
#include "metermodel.h"
#include "nodecommands.h"
#include "nodeframe.h"
#include "statements.h"
#include "zucastbuffer.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using MainBase::Execute;
using MainBase::InLiteral;

namespace {

constexpr int CaseOpenedCode = 55;

} // namespace

// Nodes broadcast nothing that concerns a reading.
void TCollector::ReceivedBCAST(QByteArray, QByteArray) { }

void TCollector::ReceivedUCAST(QByteArray uin, QByteArray message)
{
    const QString address = InLiteral(QString::fromUtf8(uin));
    const bool kept = !vars.field.Has(FieldConduct::Memory) || Execute(Statements::TypeOf, address).next();
    if (kept && !reports.Heard(uin) && !strangersTold) {
        Log(tr("More than %1 nodes were heard: of further ones nothing is kept").arg(DeliveryReports::MostNodes),
            Severity::Warning);
        strangersTold = true;
    }
    if (message == NodeCommands::CaseOpened) {
        RaiseCaseOpened(uin);
        return;
    }
    if (vars.field.Has(FieldConduct::Alarms))
        message = WithoutAlarms(uin, message);
    for (const QString& type : MainBase::ColumnOf(Execute(Statements::TypeOf, address))) {
        ucastBuffer->AppendUCAST(uin, message);
        if (type.toInt() != 0)
            continue;
        const QVariantList meter = MainBase::FirstRowOf(Execute(Statements::ModelAndGlobalIdOf, address));
        if (!meter.isEmpty())
            ucastBuffer->SetUCAST(uin, StoreAnswer(uin, meter[0].toString(), meter[1].toInt()));
    }
}

void TCollector::RaiseCaseOpened(const QByteArray& uin)
{
    const bool fromModem = uin == "0000000000000000"_ba; // which stands for the substation meter
    QSqlQuery meter = fromModem ? Execute(Statements::SubstationGlobalIds)
                                : Execute(Statements::AlarmGlobalIdOf, InLiteral(QString::fromUtf8(uin)));
    const bool known = meter.next();
    if (!known && vars.field.Has(FieldConduct::Alarms)) {
        Log(tr("Open the case: node %1 is not in the register, or that cannot be read").arg(QString::fromUtf8(uin)));
        SendError(0, CaseOpenedCode);
    } else if (!meter.isActive()) {
        LogText(meter.lastError().text());
    } else if (!known) {
        LogText(tr("Can not read database"));
    } else {
        const int globalId = meter.value(0).toInt();
        LogText(tr("Open the case: %1").arg(globalId));
        SendError(globalId, CaseOpenedCode);
    }
}

/// Raises each alarm among other bytes, which stay.
QByteArray TCollector::WithoutAlarms(const QByteArray& uin, QByteArray message)
{
    for (qsizetype at = 0; (at = message.indexOf(NodeCommands::CaseOpened, at)) >= 0;) {
        message.remove(at, NodeCommands::CaseOpened.size());
        RaiseCaseOpened(uin);
    }
    return message;
}

/// Decodes the first frame that the node's fragments hold. Returns what is kept of them: the bytes behind it, or all of
/// them while the frame is not complete. Nothing is kept of a model whose answers are not stored.
QByteArray TCollector::StoreAnswer(const QByteArray& uin, const QString& modelName, qint32 globalId)
{
    const MeterModel* const model = FindMeterModel(modelName);
    if (!model || !model->read || !(model->answersStored || vars.field.Has(FieldConduct::Ce102))) {
        AnswerTaken(uin);
        return {};
    }
    QByteArray rest;
    const QByteArray frame = TakeFrame(ucastBuffer->GetUCAST(uin), rest);
    if (!frame.isEmpty())
        AnswerTaken(uin);
    MeterAnswer answer = model->read(frame);
    if (vars.field.Has(FieldConduct::Checksums) && model->checksumIsRight && !model->checksumIsRight(frame)) {
        answer.energy.reset();
        answer.clock.reset();
    }
    if (answer.tellsEnergy)
        StoreEnergy(uin, globalId, answer.energy);
    if (answer.tellsClock)
        StoreClock(uin, answer.clock);
    return rest;
}

/// Its node's turn is over, whether or not the answer can be decoded.
void TCollector::AnswerTaken(const QByteArray& uin)
{
    if (round)
        round->Answered(QString::fromUtf8(uin));
}

/// The first frame of `bytes`; `rest` gets what is kept of them.
QByteArray TCollector::TakeFrame(QByteArray bytes, QByteArray& rest) const
{
    constexpr qsizetype MostKept = 4096;
    QByteArray frame = NodeFrame::FromC0C1(bytes, rest);
    if (!vars.field.Has(FieldConduct::Fragments))
        return frame;
    while (frame.isEmpty() && rest.size() < bytes.size()) { // the end of a frame that had no beginning
        bytes = rest;
        frame = NodeFrame::FromC0C1(bytes, rest);
    }
    if (rest.size() > MostKept)
        rest.clear();
    return frame;
}

void TCollector::StoreEnergy(const QByteArray& uin, qint32 globalId, const std::optional<Energy>& energy)
{
    if (!energy) {
        reports.CouldNotDecode(uin);
        return;
    }
    const QString address = QString::fromUtf8(uin);
    const bool late = vars.field.Has(FieldConduct::Stamps);
    StoreReading(QString::number(globalId), *energy, late ? askedIn.value(address, sweep.Stamp()) : sweep.Stamp());
    LogText(tr("%2 send data: %1 kW*h").arg(QString::number(energy->total), address));
}

/// Together with the moment at which the meter was asked.
void TCollector::StoreClock(const QByteArray& uin, const std::optional<ClockReading>& clock)
{
    const QString address = QString::fromUtf8(uin);
    if (vars.field.Has(FieldConduct::Texts) && !timeQuerySent.contains(address))
        return;
    if (!clock || !Counts(*clock)) {
        reports.CouldNotDecode(uin);
        return;
    }
    const QDateTime asked =
        vars.field.Has(FieldConduct::Texts) ? timeQuerySent.take(address) : timeQuerySent.value(address);
    AddClockReading(InLiteral(address), clock->date.value_or(CurrentDateTime().toString(u"yyyy-MM-dd"_s)),
        InLiteral(clock->time), asked.toString(u"yyyy-MM-dd"_s), asked.toString(u"hh:mm:ss"_s));
    LogText(tr("%2 send time: %1 kW*h").arg(clock->shown, address));
    timeAnswered.append(address);
}

/// Everything does that a meter calls its clock, unless the settings ask for more.
bool TCollector::Counts(const ClockReading& clock) const
{
    constexpr qsizetype LongestText = 32;
    const bool isDate = !clock.date || !clock.date->isEmpty();
    const auto isPlain = [](QChar c) { return c.isPrint(); };
    const bool isPlainText =
        clock.time.size() <= LongestText && std::all_of(clock.time.begin(), clock.time.end(), isPlain);
    return (isDate || !vars.field.Has(FieldConduct::Clocks)) && (isPlainText || !vars.field.Has(FieldConduct::Texts));
}

bool TCollector::RouteDataFromCounter(
    QByteArray pack, QString model, float& pwr, float& pwr1, float& pwr2, float& pwr3, float& pwr4, QByteArray& rest)
{
    const MeterModel* const known = FindMeterModel(model);
    if (!known)
        return false;
    Energy energy{pwr, pwr1, pwr2, pwr3, pwr4};
    const bool decoded = known->decodeEnergy(NodeFrame::FromC0C1(pack, rest), energy);
    pwr = energy.total;
    pwr1 = energy.t1;
    pwr2 = energy.t2;
    pwr3 = energy.t3;
    pwr4 = energy.t4;
    return decoded;
}

bool TCollector::RouteTimeFromCounter(QByteArray pack, QByteArray model, QDateTime& time, QByteArray& rest)
{
    const MeterModel* const known = FindMeterModel(QString::fromLatin1(model));
    if (!known || !known->decodeClock)
        return false;
    const std::optional<BcdClock> clock = known->decodeClock(NodeFrame::FromC0C1(pack, rest));
    if (!clock)
        return false;
    time = clock->Local();
    return true;
}
