#pragma once

#include "scenario.h"

#include <memory>

/// A substation: the nodes with the meters of a register on a modem's network, and its own meter on a local line.
class VirtualSubstation final {
public:
    /// The modem with the scenario's air. `report` must outlive this object.
    VirtualSubstation(
        const QList<RegisteredMeter>& meters, const Scenario& scenario, const QDateTime& begin, AnswerReport& report);

    [[nodiscard]] ModemEngine& Modem() { return modem; }

    /// Null: the register has no such meter. Of several such meters it is the first one.
    [[nodiscard]] LocalMeter* LocalLine() { return localLine.get(); }

private:
    ModemEngine modem;
    std::unique_ptr<LocalMeter> localLine;
};

/// The UINs that the scenario names and the register does not.
[[nodiscard]] QByteArrayList UnknownNodes(const QList<RegisteredMeter>& meters, const Scenario& scenario);
