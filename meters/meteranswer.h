#pragma once

#include "energy.h"

#include <QString>

#include <optional>

/// A meter's clock as an answer tells it, in the texts that are stored.
struct ClockReading {
    std::optional<QString>
        date; ///< "yyyy-MM-dd", empty when the meter told no date that exists; none: it tells no date
    QString time; ///< "hh:mm:ss" of a SET meter, empty as `date`; of a CE301 whatever it sent
    QString shown; ///< what the log shows
};

/// What one answer of a meter tells. It may tell both.
struct MeterAnswer {
    bool tellsEnergy = false;
    std::optional<Energy> energy; ///< none: told, but damaged
    bool tellsClock = false;
    std::optional<ClockReading> clock; ///< none: told, but damaged
};
