#pragma once

#include "finding.h"

/// The bus names as they stand in the settings, "NoName" for each that is not set.
struct BusNames {
    QString admin;
    QString own;
    QString peers; ///< separated by blanks
};

/// That the names make a bus on which the daemon comes up, and that strangers cannot take one of them.
[[nodiscard]] Findings BusFindings(const BusNames& names);
