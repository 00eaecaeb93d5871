#pragma once

#include "command.h"
#include "sitedatabase.h"

#include <optional>

/// Which installation a command reads: the daemon's database, or one controller's rows at a centre.
struct SiteChoice {
    SysVar vars;
    CentreView centre;
};

void AddSiteOptions(CommandLine& line);

/// With "--centre" and no settings file, those are the default ones. None after a complaint.
[[nodiscard]] std::optional<SiteChoice> ChosenSite(const CommandLine& line);
