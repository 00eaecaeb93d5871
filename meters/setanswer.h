#pragma once

#include "bcdclock.h"
#include "meteranswer.h"

#include <QByteArray>

/// A SET meter's answer taken apart: what SET1 and SET3 have in common.
struct SetAnswer {
    bool valid = false;
    quint8 code = 0; ///< a SET1's is set also when the rest is wrong
    QByteArray data;
};

/// None when the answer is damaged or its data is no clock.
[[nodiscard]] std::optional<BcdClock> ClockIn(const SetAnswer& answer);

/// What `answer` tells by its code; `energyIn` gives its registers, none when it is damaged or has none.
[[nodiscard]] MeterAnswer ReadSetAnswer(
    const SetAnswer& answer, std::optional<Energy> (*energyIn)(const SetAnswer& answer));
