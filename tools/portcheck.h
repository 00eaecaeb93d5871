#pragma once

#include "finding.h"
#include "sysvar.h"

/// The serial lines: that they are there, may be opened, and are two. Their settings are left as they are.
[[nodiscard]] Findings PortFindings(const SysVar& vars, bool hasSubstationMeter);
