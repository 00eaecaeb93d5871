#include "setanswer.h"

using namespace Qt::StringLiterals;

namespace {

bool IsEnergy(quint8 code)
{
    return code == 0x15 || code == 0x12;
}

bool IsClock(quint8 code)
{
    return code == 0x10 || code == 0x50;
}

ClockReading Texts(const BcdClock& clock)
{
    const QString date = clock.date.toString(u"yyyy-MM-dd"_s);
    const QString time = clock.time.toString(u"hh:mm:ss"_s);
    return {date, time, clock.date.isValid() ? date + u' ' + time : QString()};
}

} // namespace

std::optional<BcdClock> ClockIn(const SetAnswer& answer)
{
    if (!answer.valid || answer.data.size() != BcdClock::Size)
        return std::nullopt;
    return ReadBcdClock(answer.data);
}

MeterAnswer ReadSetAnswer(const SetAnswer& answer, std::optional<Energy> (*energyIn)(const SetAnswer& answer))
{
    MeterAnswer told;
    if (IsEnergy(answer.code)) {
        told.tellsEnergy = true;
        told.energy = energyIn(answer);
    } else if (IsClock(answer.code)) {
        told.tellsClock = true;
        if (const std::optional<BcdClock> clock = ClockIn(answer))
            told.clock = Texts(*clock);
    }
    return told;
}
