#pragma once

#include <QByteArray>

/// What became of a node's answer between the node and the daemon, the worst last.
enum class Passage {
    Whole,
    Spoiled, ///< the air took some or all of it, or its line was cut
    ModemDeaf, ///< the modem was deaf when it came
    ModemAway, ///< the modem had no power, was starting or had no network; or its power went before the line was
               ///< through
};

/// How a report names it: "yes" for a whole one, else why not.
[[nodiscard]] inline QByteArray PassageName(Passage passage)
{
    switch (passage) {
    case Passage::Whole:
        return "yes";
    case Passage::Spoiled:
        break;
    case Passage::ModemDeaf:
        return "deaf";
    case Passage::ModemAway:
        return "away";
    }
    return "no";
}
