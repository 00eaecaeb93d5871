#pragma once

#include "finding.h"

/// That the program that a time sweep asks is there, answers in time and lists `ntpServer`; without a server, what it
/// lists does not matter. Waits for the program as long as the daemon would, 30 s.
[[nodiscard]] Findings TimeFindings(const QString& ntpServer);
