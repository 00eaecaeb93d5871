#pragma once

#include "modemtraits.h"

#include <QCommandLineParser>

// The command line of ravelin-sim. Whoever asks for an option with a bad value ends the program.

inline constexpr int BadUsage = 2;
inline constexpr int CannotRun = 1;

[[noreturn]] void Fail(int exitCode, const QString& why);

void DescribeOptions(QCommandLineParser& parser);

[[nodiscard]] qint64 Number(const QCommandLineParser& parser, const QString& option, qint64 least, qint64 most);

/// What the options say of the modem and its air.
[[nodiscard]] ModemTraits TraitsOf(const QCommandLineParser& parser);
