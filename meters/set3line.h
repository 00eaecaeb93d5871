#pragma once

#include "substationprotocol.h"

/// A SET3 on a serial line of its own. Its clock's seconds are read from the request code that the answer echoes, 10:
/// kept for who asks for that clock.
extern const SubstationProtocol SET3Line;
