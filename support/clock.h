#pragma once

#include <QDateTime>

/// The wall clock, local time. CurrentDateTime() and Delay() are how this system reads and spends time. They are in a
/// library of their own, so that a test can link virtual time instead.
[[nodiscard]] QDateTime CurrentDateTime();

/// Milliseconds from some moment on, whatever is done to the wall clock: for the length of waits.
[[nodiscard]] qint64 MonotonicMs();
