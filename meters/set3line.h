#pragma once

#include "substationprotocol.h"

/// A SET3 on a serial line of its own. The seconds of its clock are always 10: they are read from the request code,
/// which the answer repeats in front. Given so; not to be repaired. The daemon does not ask for this clock.
extern const SubstationProtocol SET3Line;
