#include "answerwords.h"

#include "shown.h"
#include "traffictexts.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

QString KWh(float value)
{
    return QString::number(static_cast<double>(value), 'f', 2);
}

QString WordsOf(const Energy& energy, const MeterModel& model)
{
    if (!model.hasTariffs)
        return TrafficTexts::tr("%1 kWh").arg(KWh(energy.total));
    return TrafficTexts::tr("%1 kWh (tariffs %2, %3, %4, %5)")
        .arg(KWh(energy.total), KWh(energy.t1), KWh(energy.t2), KWh(energy.t3), KWh(energy.t4));
}

QString WordsOf(const ClockReading& clock)
{
    const QString shown = Shown(clock.shown.toUtf8());
    return shown.isEmpty() ? TrafficTexts::tr("its clock shows no date and time that exist")
                           : TrafficTexts::tr("its clock shows %1").arg(shown);
}

QString Damaged(const QString& what, const QByteArray& frame)
{
    return TrafficTexts::tr("%1, but damaged: %2").arg(what, WordsOfBytes(frame));
}

AnswerWords WordsOf(const MeterAnswer& answer, const QByteArray& frame, const MeterModel& model)
{
    QStringList told;
    if (answer.tellsEnergy)
        told.append(answer.energy ? WordsOf(*answer.energy, model) : Damaged(TrafficTexts::tr("energy"), frame));
    if (answer.tellsClock)
        told.append(answer.clock ? WordsOf(*answer.clock) : Damaged(TrafficTexts::tr("clock"), frame));
    if (told.isEmpty())
        return {u"damaged"_s, TrafficTexts::tr("neither energy nor clock, or damaged: %1").arg(WordsOfBytes(frame))};
    if (model.checksumIsRight && !model.checksumIsRight(frame))
        told.append(TrafficTexts::tr("checksum wrong"));
    const QString kind = answer.energy ? u"energy"_s : answer.clock ? u"clock"_s : u"damaged"_s;
    return {kind, told.join("; "_L1)};
}

} // namespace

QString WordsOfBytes(const QByteArray& bytes)
{
    constexpr qsizetype MostShown = 32;
    const QString hex = QString::fromLatin1(bytes.first(std::min(bytes.size(), MostShown)).toHex(' '));
    return TrafficTexts::tr("bytes: %1").arg(bytes.size()) + (bytes.isEmpty() ? QString() : u": "_s + hex)
        + (bytes.size() > MostShown ? u" ..."_s : QString());
}

AnswerWords WordsOfNodeFrame(const QByteArray& frame, const MeterModel* model)
{
    if (frame == "\x82\x35\x35"_ba)
        return {u"alarm"_s, TrafficTexts::tr("the meter's case was opened")};
    if (frame.isEmpty())
        return {u"empty"_s, TrafficTexts::tr("an empty frame")};
    if (!model || !model->read)
        return {u"frame"_s, TrafficTexts::tr("a frame of a node without a known meter, %1").arg(WordsOfBytes(frame))};
    AnswerWords said = WordsOf(model->read(frame), frame, *model);
    said.words.prepend(QString(model->name) + ": "_L1);
    return said;
}

AnswerWords WordsOfSubstation(const QByteArray& answer, const MeterModel* model, const QString& number)
{
    if (answer.isEmpty())
        return {u"silent"_s, TrafficTexts::tr("the substation meter did not answer")};
    if (!model || !model->substation)
        return {u"frame"_s, TrafficTexts::tr("a substation meter of no known model, %1").arg(WordsOfBytes(answer))};
    const SubstationProtocol& protocol = *model->substation;
    const std::optional<Energy> energy = protocol.energyIn(number, answer);
    const QString name = QString(model->name) + ": "_L1;
    if (!energy)
        return {u"damaged"_s, name + TrafficTexts::tr("not a whole answer: %1").arg(WordsOfBytes(answer))};
    const bool isRight = protocol.checksumIsRight(answer);
    return {u"energy"_s,
        name + WordsOf(*energy, *model) + (isRight ? QString() : "; "_L1 + TrafficTexts::tr("checksum wrong"))};
}
