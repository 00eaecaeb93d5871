#pragma once

#include <QString>

/// The running program's file name without directory and extensions.
[[nodiscard]] QString ProgramBaseName();

/// The default settings file of the running program, /etc/ravelin/<program>.ini; with `templateFile` the template
/// settings file instead, one per process, in the temporary directory.
[[nodiscard]] QString getIniNameDefault(bool templateFile);
