#pragma once

#include "bcdclock.h"
#include "meteranswer.h"
#include "substationprotocol.h"

#include <QByteArray>
#include <QLatin1StringView>

#include <span>

/// All that sets one meter model apart from the others: the daemon and the operator's tools ask here. `frame` is what a
/// node frame holds, its escaping undone.
struct MeterModel {
    QLatin1StringView name; ///< as the register's "Model", in these letters

    /// Reads the registers of an energy answer. On false, and where the model has no such register, `energy` keeps its
    /// values; of a CE301 those read before the fault may be new. Never null.
    bool (*decodeEnergy)(const QByteArray& frame, Energy& energy);

    /// Reads a clock answer. None when it is damaged. Null: the model's clock is no date and time in binary.
    std::optional<BcdClock> (*decodeClock)(const QByteArray& frame) = nullptr;

    /// Reads whatever an answer tells. Null: what a meter of this model answers is not stored, so it counts as silent.
    MeterAnswer (*read)(const QByteArray& frame) = nullptr;

    /// The message to a node that asks its meter's clock; `number` is the register's "Number". Null: there is none, and
    /// an empty message is sent.
    QByteArray (*timeQuery)(quint32 number) = nullptr;

    /// One such meter in the register, and each node is sent the message that sets a CE301's clock, instead of one
    /// broadcast for all.
    bool clockSetOneByOne = false;

    /// The register's "Number" is the meter's address: a whole number from 0 to 2147483647.
    bool numberIsAddress = false;

    /// Null: cannot be the substation meter.
    const SubstationProtocol* substation = nullptr;
};

/// Every model, in alphabetical order.
[[nodiscard]] std::span<const MeterModel> MeterModels();

/// Null for a name that is no model's.
[[nodiscard]] const MeterModel* FindMeterModel(QStringView name);
