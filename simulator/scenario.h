#pragma once

#include "localmeter.h"
#include "meternode.h"
#include "modemengine.h"

/// What is to happen in a play: the air, the meters' clocks, and what goes wrong where.
struct Scenario {
    ModemTraits modem; ///< its seed is that of the meters too
    double driftPpm = 0;
    QList<QDateTime> powerCuts; ///< local time; they go into the modem's traits when the play begins
    QList<QDateTime> deaf; ///< as powerCuts
    std::map<QByteArray, NodeFaults> nodes; ///< by UIN
    SubstationFaults substation;
};

/// Reads the text of a scenario file, see share/scenario.ini.example; what it does not name stays as in `defaults`.
/// On failure `error` names the line.
[[nodiscard]] std::optional<Scenario> ParseScenario(const QByteArray& text, Scenario defaults, QString& error);

/// As ParseScenario, from a file.
[[nodiscard]] std::optional<Scenario> ReadScenario(const QString& path, Scenario defaults, QString& error);
