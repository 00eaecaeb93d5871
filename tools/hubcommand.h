#pragma once

#include "command.h"
#include "hubclient.h"

/// What the commands have in common that ask the hub.
namespace HubCommand {

void AddOptions(CommandLine& line);

[[nodiscard]] HubClient Client(const CommandLine& line);

/// The daemon that was asked for: by name, or by its settings file; empty when none was. None, after the reason was
/// told, when the settings file cannot be used.
[[nodiscard]] std::optional<QString> Controller(const CommandLine& line);

/// `path` with the controller, if there is one, and `query` ("kinds=log"), if it is not empty.
[[nodiscard]] QString Target(const QString& path, const QString& controller, const QString& query = {});

} // namespace HubCommand
