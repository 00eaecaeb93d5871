#pragma once

#include "substationprotocol.h"

/// A CE301 on a serial line of its own. The answer to the request for its clock is not read.
extern const SubstationProtocol CE301Line;
