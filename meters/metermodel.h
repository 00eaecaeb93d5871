#pragma once

#include "bcdclock.h"
#include "meteranswer.h"
#include "substationprotocol.h"

#include <QByteArray>
#include <QLatin1StringView>

#include <span>

/// All that sets one meter model apart from the others; the daemon and the operator's tools ask here. `frame` is the
/// payload of a node frame, without escapes.
struct MeterModel {
    QLatin1StringView name; ///< as the register's "Model", in these letters

    /// Reads the registers of an energy answer. A register that the model does not have keeps its value. On false all
    /// of `energy` does; only a CE301 may leave new values, see TCounter_CE301::ReceivePack(). Never null. For
    /// TCollector::RouteDataFromCounter(), which the daemon does not call.
    bool (*decodeEnergy)(const QByteArray& frame, Energy& energy);

    /// Reads a clock answer. None when it is damaged. Null: the model's clock is no date and time in binary. For
    /// TCollector::RouteTimeFromCounter(), which the daemon does not call.
    std::optional<BcdClock> (*decodeClock)(const QByteArray& frame) = nullptr;

    /// Reads all that an answer tells. Null: answers of this model are not stored, so its meters count as silent.
    MeterAnswer (*read)(const QByteArray& frame) = nullptr;

    /// Whether the checksum of `frame` is right. Null: `read` looks at it.
    bool (*checksumIsRight)(const QByteArray& frame) = nullptr;

    /// False: answers are stored only where the settings ask for it; otherwise the meter counts as silent.
    bool answersStored = true;

    /// Four tariff registers, which make up the total. False: the total is all there is, the tariffs are stored as 0.
    bool hasTariffs = true;

    /// The clock tells its date. False: the date that is stored is the collector's.
    bool clockTellsDate = true;

    /// The message to a node that asks its meter's clock; `number` is the register's "Number". Null: there is none, and
    /// an empty message is sent.
    QByteArray (*timeQuery)(quint32 number) = nullptr;

    /// If the register holds one such meter, each node is sent the message that sets a CE301's clock. Otherwise one
    /// broadcast sets all clocks.
    bool clockSetOneByOne = false;

    /// The register's "Number" is the meter's address: a whole number from 0 to 2147483647.
    bool numberIsAddress = false;

    /// Null: a meter of this model cannot be the substation meter.
    const SubstationProtocol* substation = nullptr;
};

/// Every model, in alphabetical order.
[[nodiscard]] std::span<const MeterModel> MeterModels();

/// Null for a name that is no model's.
[[nodiscard]] const MeterModel* FindMeterModel(QStringView name);
