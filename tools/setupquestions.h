#pragma once

#include "settingsfile.h"

#include <QMap>
#include <QString>

#include <optional>

class CommandLine;

/// What an installation has to be told. Each answer is an option of the command line, or is asked for, or stays as the
/// settings have it.
namespace SetupQuestions {

void AddOptions(CommandLine& line);

/// By key of the settings: what is to be set, only where it differs from `present`. None, and the reason on stderr,
/// when the person went away or an option cannot be used.
[[nodiscard]] std::optional<QMap<QString, QString>> Answers(
    const CommandLine& line, const SettingsFile& present, bool isNew, bool asks);

/// Of a person, who is shown what stands; an empty line keeps that. None at the end of the input.
[[nodiscard]] std::optional<QString> Ask(const QString& question, const QString& present);

} // namespace SetupQuestions
