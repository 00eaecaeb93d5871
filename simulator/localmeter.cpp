#include "localmeter.h"

#include <algorithm>

using namespace Qt::StringLiterals;
using MeterAnswers::Checksum;

namespace {

constexpr qsizetype LongestRequest = 128;

} // namespace

LocalMeter::LocalMeter(RegisteredMeter registered, const SubstationFaults& substationFaults,
    const Conditions& conditions, AnswerReport& answerReport)
    : meter(std::move(registered)),
      faults(substationFaults),
      begin(conditions.begin),
      report(answerReport),
      random(SeedOf(meter.uin, conditions.seed)),
      virtualMeter(
          SeedOf(meter.uin + meter.number, conditions.seed), begin, faults.driftPpm.value_or(conditions.driftPpm)),
      wire(meter.dialect->lineBaud)
{
}

void LocalMeter::Receive(const QByteArray& bytes, Moment now)
{
    for (const char byte : bytes) {
        heard = (heard + byte).right(LongestRequest);
        if (Heard(meter.dialect->lineEnergyRequest))
            SendEnergy(now);
        else if (Heard(meter.dialect->lineClockRequest))
            SendClock(now);
    }
}

bool LocalMeter::Heard(MeterDialect::Request request) const
{
    return request && heard.endsWith(request(meter.NumberOnTheWire()));
}

void LocalMeter::SendEnergy(Moment now)
{
    report.Asked(meter.uin);
    if (readings++ < faults.unanswered)
        return;
    const MeterAnswers::Tariffs tariffs = virtualMeter.EnergyAt(WallTime(begin, now));
    Send(meter.dialect->energy(meter.NumberOnTheWire(), tariffs, Checksum::Right), "energy"_ba,
        EnergyText(*meter.dialect, tariffs), now);
}

void LocalMeter::SendClock(Moment now)
{
    report.Asked(meter.uin);
    const QDateTime shown = virtualMeter.ClockAt(WallTime(begin, now));
    Send(meter.dialect->clock(meter.NumberOnTheWire(), shown, Checksum::Right), "clock"_ba,
        shown.toString(u"yyyy-MM-dd HH:mm:ss"_s).toLatin1(), now);
}

void LocalMeter::Send(QByteArray answer, const QByteArray& kind, const QByteArray& values, Moment now)
{
    if (faults.silent || IsWithin(faults.silences, WallTime(begin, now)))
        return;
    if (answer.startsWith('\x82')) // the mark of a node
        answer.remove(0, 1);
    if (faults.garbage)
        std::generate(answer.begin(), answer.end(), [this] { return static_cast<char>(random()); });
    wire.Send(answer, now + AnswerTime);
    report.Sent(WallTime(begin, now + AnswerTime + wire.Duration(answer.size())),
        {meter.uin, meter.dialect->model.toByteArray(), kind, values, faults.garbage ? "garbage"_ba : ""_ba},
        Passage::Whole);
}
