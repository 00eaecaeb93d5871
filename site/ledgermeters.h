#pragma once

#include "ledgermeter.h"
#include "meterregister.h"

/// Meters of a register as the rules take them; `ce102Stored` as the settings have it.
[[nodiscard]] QList<LedgerMeter> LedgerMetersOf(const QList<RegisterRow>& rows, bool ce102Stored);
