#pragma once

#include <QDateTime>

/// The wall clock, local time. With Delay() the only way this system reads or spends time; a library of its own holds
/// it, so that a test can link a virtual one.
[[nodiscard]] QDateTime CurrentDateTime();
