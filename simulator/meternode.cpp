#include "meternode.h"

#include "chance.h"
#include "nodeframe.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <memory>

using namespace Qt::StringLiterals;
using MeterAnswers::Checksum;

namespace {

constexpr char ReadOutCommand = '\x02';
constexpr char PassThroughCommand = '\x04';

/// "ssmmhh0Wddmmyyyy", W the day of the week from Monday, 1.
std::optional<QDateTime> ClockSetting(const QByteArray& text)
{
    const auto time = QDateTime::fromString(QString::fromLatin1(text.left(6) + text.mid(8)), u"ssmmHHddMMyyyy"_s);
    if (text.size() != 16 || !time.isValid() || text.at(6) != '0' || text.at(7) - '0' != time.date().dayOfWeek())
        return std::nullopt;
    return time;
}

QByteArray Noise(std::mt19937& random, qsizetype size)
{
    QByteArray noise(size, Qt::Uninitialized);
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });
    return noise;
}

} // namespace

QByteArray FlawName(Flaw flaw)
{
    switch (flaw) {
    case Flaw::None:
        break;
    case Flaw::Checksum:
        return "checksum"_ba;
    case Flaw::Garbage:
        return "garbage"_ba;
    case Flaw::Half:
        return "half"_ba;
    }
    return {};
}

struct MeterNode::Command {
    char code;
    void (MeterNode::*run)(const QByteArray& argument, const QDateTime& now);
};

constexpr std::array<MeterNode::Command, 6> MeterNode::Commands{{
    {'\x01', &MeterNode::Measure},
    {PassThroughCommand, &MeterNode::PassThrough},
    {'\x05', &MeterNode::LearnCollector},
    {'\x06', &MeterNode::LearnKINumber},
    {'\x07', &MeterNode::LearnNumber},
    {'\x08', &MeterNode::SetClock},
}};

MeterNode::MeterNode(
    RegisteredMeter registered, const NodeFaults& nodeFaults, const Conditions& conditions, AnswerReport& answerReport)
    : meter(std::move(registered)),
      faults(nodeFaults),
      begin(conditions.begin),
      report(answerReport),
      random(SeedOf(meter.uin, conditions.seed)),
      virtualMeter(
          SeedOf(meter.uin + meter.number, conditions.seed), begin, faults.driftPpm.value_or(conditions.driftPpm))
{
}

bool MeterNode::Reachable()
{
    return !Happens(faults.nack, random);
}

QList<NodeAnswer> MeterNode::Receive(const QByteArray& frame, Moment now)
{
    // What is meant for the meter comes without a node frame: its own frame, behind the command.
    QByteArray rest;
    const QByteArray payload = frame.startsWith(PassThroughCommand) ? frame : NodeFrame::FromC0C1(frame, rest);
    if (payload.startsWith(ReadOutCommand))
        return ReadOut(WallTime(begin, now));
    const auto command = std::find_if(
        Commands.begin(), Commands.end(), [&](const Command& candidate) { return payload.startsWith(candidate.code); });
    if (command != Commands.end())
        (this->*command->run)(payload.sliced(1), WallTime(begin, now));
    return {};
}

void MeterNode::Measure(const QByteArray&, const QDateTime& now)
{
    const MeterAnswers::Tariffs tariffs = virtualMeter.EnergyAt(now, faults.registers);
    Hold(meter.dialect->energy(meter.NumberOnTheWire(), tariffs, Sum()), "energy"_ba,
        EnergyText(*meter.dialect, tariffs));
}

void MeterNode::PassThrough(const QByteArray& request, const QDateTime& now)
{
    const MeterDialect& dialect = *meter.dialect;
    held.reset();
    if (dialect.clock && request == dialect.clockRequest(meter.NumberOnTheWire())) {
        const QDateTime shown = virtualMeter.ClockAt(now);
        Hold(dialect.clock(meter.NumberOnTheWire(), shown, Sum()), "clock"_ba,
            shown.toString(u"yyyy-MM-dd HH:mm:ss"_s).toLatin1());
    } else if (const auto time = dialect.clockWrite ? dialect.clockWrite(request) : std::nullopt) {
        virtualMeter.SetClock({virtualMeter.ClockAt(now).date(), *time}, now);
    }
}

void MeterNode::SetClock(const QByteArray& text, const QDateTime& now)
{
    if (const std::optional<QDateTime> shown = ClockSetting(text))
        virtualMeter.SetClock(*shown, now);
}

void MeterNode::LearnCollector(const QByteArray& uin, const QDateTime&)
{
    report.Told(meter.uin, "collector"_ba, uin);
}

void MeterNode::LearnKINumber(const QByteArray& number, const QDateTime&)
{
    report.Told(meter.uin, "KI number"_ba, number);
}

void MeterNode::LearnNumber(const QByteArray& number, const QDateTime&)
{
    if (number.size() == 4)
        report.Told(meter.uin, "number"_ba, QByteArray::number(qFromLittleEndian<qint32>(number.constData())));
}

Checksum MeterNode::Sum() const
{
    return faults.undecodable == Flaw::Checksum ? Checksum::Wrong : Checksum::Right;
}

void MeterNode::Hold(const QByteArray& answer, const QByteArray& kind, const QByteArray& values)
{
    held = {answer, {meter.uin, meter.dialect->model.toByteArray(), kind, values, FlawName(faults.undecodable)}};
}

QList<NodeAnswer> MeterNode::ReadOut(const QDateTime& now)
{
    report.Asked(meter.uin);
    std::optional<Held> answer = std::exchange(held, std::nullopt);
    if (!answer || faults.silent || IsWithin(faults.silences, now) || ++readOuts % faults.every != 0)
        return {};
    if (faults.undecodable == Flaw::Garbage)
        answer->answer = Noise(random, answer->answer.size());
    else if (faults.undecodable == Flaw::Half)
        answer->answer = MeterAnswers::CutShort(answer->answer);

    const int copies = faults.glued ? 2 : 1;
    const QByteArray bytes = NodeFrame::ToC0C1(answer->answer).repeated(copies);
    const qsizetype pieceSize = (bytes.size() + faults.pieces - 1) / faults.pieces;
    const auto passedOn = Account(answer->reported, faults.pieces, copies);
    QList<NodeAnswer> pieces;
    for (int i = 0; i < faults.pieces; ++i)
        pieces.append({AnswerTime + faults.late + i * PieceInterval, bytes.mid(i * pieceSize, pieceSize), passedOn});
    return pieces;
}

QList<NodeAnswer> MeterNode::Alarms() const
{
    const ReportedAnswer alarm{meter.uin, meter.dialect->model.toByteArray(), "alarm"_ba, {}, {}};
    QList<NodeAnswer> alarms;
    for (const QDateTime& time : faults.alarms)
        if (time >= begin)
            alarms.append(
                {std::chrono::milliseconds(begin.msecsTo(time)), MeterAnswers::Alarm(), Account(alarm, 1, 1)});
    return alarms;
}

/// Reports `answer` once its last piece is through.
std::function<void(Moment, Passage)> MeterNode::Account(const ReportedAnswer& answer, int pieces, int copies) const
{
    struct Progress {
        int piecesLeft;
        Passage worst = Passage::Whole;
    };
    const auto progress = std::make_shared<Progress>(Progress{pieces});
    return [&to = report, start = begin, answer, copies, progress](Moment now, Passage passage) {
        progress->worst = std::max(progress->worst, passage);
        if (--progress->piecesLeft > 0)
            return;
        for (int i = 0; i < copies; ++i)
            to.Sent(WallTime(start, now), answer, progress->worst);
    };
}
