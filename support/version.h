#pragma once

#include <QString>

/// The version text of this support library, shown to the administrator by "About".
[[nodiscard]] QString getTesselVersion();
