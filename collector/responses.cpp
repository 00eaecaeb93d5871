// What the nodes answer: fragments are gathered until they hold a frame, the frame is decoded the way of the meter's
// model, and the reading is stored under the sweep that is current when it arrives, however late that is.

#include "ce301.h"
#include "clock.h"
#include "clocktexts.h"
#include "collector.h"
#include "maindatabase.h"
#include "set1.h"
#include "set3.h"
#include "statements.h"
#include "zucastbuffer.h"

using namespace Qt::StringLiterals;
using MainBase::Execute;
using MainBase::InLiteral;

namespace {

const QByteArray CaseOpened = "\xC0\x82"
                              "55\xC1"_ba;
constexpr int CaseOpenedCode = 55;

/// A SET meter's answer taken apart.
struct SetAnswer {
    bool valid = false;
    quint8 code = 0; // SET1 tells it even when the rest is wrong
    QByteArray data;
};

SetAnswer TakeApart(const QString& model, const QByteArray& frame)
{
    SetAnswer answer;
    quint32 meter = 0;
    if (model == "SET3"_L1)
        answer.valid = TCounter_SET3::ReceivePack(frame, meter, answer.code, answer.data);
    else if (model == "SET1"_L1)
        answer.valid = TCounter_SET1::ReceivePack(frame, answer.code, answer.data);
    return answer;
}

bool IsEnergy(quint8 code)
{
    return code == 0x15 || code == 0x12;
}

bool IsClock(quint8 code)
{
    return code == 0x10 || code == 0x50;
}

} // namespace

// Nodes broadcast nothing that concerns a reading.
void TCollector::ReceivedBCAST(QByteArray, QByteArray) { }

void TCollector::ReceivedUCAST(QByteArray uin, QByteArray message)
{
    meterState[uin] = NodeHeard;
    if (message == CaseOpened) {
        RaiseCaseOpened(uin);
        return;
    }
    const QString address = InLiteral(QString::fromUtf8(uin));
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
    if (!meter.isActive()) {
        LogText(meter.lastError().text());
    } else if (!meter.next()) {
        LogText(tr("Can not read database"));
    } else {
        const int globalId = meter.value(0).toInt();
        LogText(tr("Open the case: %1").arg(globalId));
        SendError(globalId, CaseOpenedCode);
    }
}

/// Decodes the first frame that the node's fragments hold. Returns what is kept of them: the bytes behind it, or all of
/// them while the frame is not complete. A model that is not decoded keeps nothing.
QByteArray TCollector::StoreAnswer(const QByteArray& uin, const QString& model, qint32 globalId)
{
    QByteArray rest;
    if (model == "CE301"_L1) {
        const QByteArray frame = FromC0C1(ucastBuffer->GetUCAST(uin), rest);
        if (frame.contains("ET"))
            StoreEnergy(uin, model, globalId, rest);
        if (frame.contains("TIME"))
            StoreClockCE301(uin, frame);
    } else if (model == "SET3"_L1 || model == "SET1"_L1) {
        const quint8 code = TakeApart(model, FromC0C1(ucastBuffer->GetUCAST(uin), rest)).code;
        if (IsEnergy(code))
            StoreEnergy(uin, model, globalId, rest);
        else if (IsClock(code))
            StoreClockSET(uin, model, rest);
    }
    return rest;
}

void TCollector::StoreEnergy(const QByteArray& uin, const QString& model, qint32 globalId, QByteArray& rest)
{
    Energy energy;
    if (!RouteDataFromCounter(
            ucastBuffer->GetUCAST(uin), model, energy.total, energy.t1, energy.t2, energy.t3, energy.t4, rest)) {
        meterState[uin] = Undecodable;
        return;
    }
    StoreReading(QString::number(globalId), energy);
    LogText(tr("%2 send data: %1 kW*h").arg(QString::number(energy.total), QString::fromUtf8(uin)));
}

/// Of the five registers at most six significant digits are stored; a value that is no number is no row.
void TCollector::StoreReading(const QString& globalId, const Energy& energy)
{
    const auto text = [](float value) { return QString::number(value); };
    AddToSweep(globalId, 0,
        MainBase::Filled(Statements::InsertReading, globalId, text(energy.total), text(energy.t1), text(energy.t2),
            text(energy.t3), text(energy.t4), sweepDate, sweepTime));
}

void TCollector::StoreClockCE301(const QByteArray& uin, const QByteArray& frame)
{
    QString time; // its text as it came; the meter does not tell the date
    if (TCounter_CE301::ReceiveTime(frame, time))
        StoreClock(uin, CurrentDateTime().toString(u"yyyy-MM-dd"_s), time, time);
    else
        meterState[uin] = Undecodable;
}

void TCollector::StoreClockSET(const QByteArray& uin, const QString& model, QByteArray& rest)
{
    QDateTime time;
    if (RouteTimeFromCounter(ucastBuffer->GetUCAST(uin), model.toLatin1(), time, rest))
        StoreClock(
            uin, time.toString(u"yyyy-MM-dd"_s), time.toString(u"hh:mm:ss"_s), time.toString(u"yyyy-MM-dd hh:mm:ss"_s));
    else
        meterState[uin] = Undecodable;
}

/// Beside the moment at which the meter was asked.
void TCollector::StoreClock(const QByteArray& uin, const QString& date, const QString& time, const QString& shown)
{
    const QString address = QString::fromUtf8(uin);
    const QDateTime asked = timeQuerySent.value(address);
    AddClockReading(
        InLiteral(address), date, InLiteral(time), asked.toString(u"yyyy-MM-dd"_s), asked.toString(u"hh:mm:ss"_s));
    LogText(tr("%2 send time: %1 kW*h").arg(shown, address));
    timeAnswered.append(address);
}

bool TCollector::RouteDataFromCounter(
    QByteArray pack, QString model, float& pwr, float& pwr1, float& pwr2, float& pwr3, float& pwr4, QByteArray& rest)
{
    Energy energy{pwr, pwr1, pwr2, pwr3, pwr4};
    const bool decoded = DecodeEnergy(model, FromC0C1(pack, rest), energy);
    pwr = energy.total;
    pwr1 = energy.t1;
    pwr2 = energy.t2;
    pwr3 = energy.t3;
    pwr4 = energy.t4;
    return decoded;
}

bool TCollector::RouteTimeFromCounter(QByteArray pack, QByteArray model, QDateTime& time, QByteArray& rest)
{
    constexpr qsizetype ClockSize = 7;
    const SetAnswer answer = TakeApart(QString::fromLatin1(model), FromC0C1(pack, rest));
    if (!answer.valid || answer.data.size() != ClockSize)
        return false;
    time = ClockTexts::FromBcd(answer.data);
    return true;
}
