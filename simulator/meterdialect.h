#pragma once

#include "meteranswers.h"

#include <optional>

/// What sets the meter models apart: how a meter is asked, and what it answers. `number` is its own number. Answers are
/// as a node sends them. On its own line a meter answers the same bytes; if the first one is 0x82, without it.
struct MeterDialect {
    using Request = QByteArray (*)(quint32 number);
    using Energy = QByteArray (*)(quint32 number, const MeterAnswers::Tariffs&, MeterAnswers::Checksum);
    using Clock = QByteArray (*)(quint32 number, const QDateTime& shown, MeterAnswers::Checksum);

    QByteArrayView model; ///< as the register names it
    bool hasTariffs = true; ///< false: answers only the total
    Energy energy = nullptr; ///< never null

    // To a meter behind a node. The node itself asks it for its energy.
    Clock clock = nullptr; ///< null: the clock cannot be read
    Request clockRequest = nullptr;
    std::optional<QTime> (*clockWrite)(const QByteArray& request) = nullptr; ///< the time of day that `request` sets

    // On the meter's own line. Null: it does not answer such a request there.
    int lineBaud = 0;
    Request lineEnergyRequest = nullptr; ///< all that is sent for one reading
    Request lineClockRequest = nullptr;
};

/// Null for a model that is not known.
[[nodiscard]] const MeterDialect* FindDialect(QByteArrayView model);

/// How a report writes registers: kWh with two decimals, the total first.
[[nodiscard]] QByteArray EnergyText(const MeterDialect& dialect, const MeterAnswers::Tariffs& tariffs);
