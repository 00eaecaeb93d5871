#pragma once

#include "energy.h"

#include <QString>

#include <optional>

/// A meter's clock as an answer tells it, in the texts that are stored.
struct ClockReading {
    std::optional<QString>
        date; ///< "yyyy-MM-dd"; empty: the meter told a date that does not exist; none: its model tells no date
    QString time; ///< a SET meter's "hh:mm:ss", or empty like `date`; a CE301's text as it was sent
    QString shown; ///< for the live view
};

/// What one answer of a meter tells. It may tell both.
struct MeterAnswer {
    bool tellsEnergy = false;
    std::optional<Energy> energy; ///< none: told, but damaged
    bool tellsClock = false;
    std::optional<ClockReading> clock; ///< none: told, but damaged
};
