#pragma once

#include "substationprotocol.h"

/// A CE301 on a serial line of its own. Its clock is asked for, but the answer is not read.
extern const SubstationProtocol CE301Line;
