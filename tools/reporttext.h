#pragma once

#include "sitereport.h"

[[nodiscard]] QString ReportAsText(const SiteReport& report);
/// A line for each meter and day; only counts.
[[nodiscard]] QString ReportAsCsv(const SiteReport& report);
[[nodiscard]] QString ReportAsJson(const SiteReport& report);
