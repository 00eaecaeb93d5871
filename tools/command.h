#pragma once

#include "settingsfile.h"
#include "sysvar.h"

#include <QCommandLineParser>
#include <QList>
#include <QStringList>

#include <optional>

/// How a command ends.
enum ExitCode { Done = 0, Problems = 1, WrongUsage = 2 };

/// A command, or a group of commands. `run` gets the words of the command line from its own on: the first names the way
/// to it ("ravelinctl register"). Returns the exit code.
struct Command {
    QString name;
    QString summary;
    int (*run)(const QStringList& words);
};

/// Runs the command that the second of `words` names; tells the ways to go on for "--help", a missing and a wrong name.
[[nodiscard]] int RunOneOf(const QList<Command>& commands, const QString& about, const QStringList& words);

/// The options of one command and what it takes beside them.
class CommandLine final {
public:
    enum class Takes { Nothing, OptionalFile, File, GlobalIds };

    CommandLine(const QString& about, Takes takes);

    /// `name` takes a value, which `meaning` names.
    void AddOption(const QString& name, const QString& meaning, const QString& about, const QString& defaultValue);

    /// An exit code when the command has nothing left to do: help was asked for, or the usage is wrong.
    [[nodiscard]] std::optional<int> Parse(const QStringList& words);

    /// Empty when none was given.
    [[nodiscard]] QString FileName() const { return parser.positionalArguments().value(0); }

    /// At least one.
    [[nodiscard]] QStringList GlobalIds() const { return parser.positionalArguments(); }

    [[nodiscard]] QString Option(const QString& name) const { return parser.value(name); }

    /// Empty when none was given.
    [[nodiscard]] QString NamedSettings() const { return parser.value(QStringLiteral("settings")); }

    /// The settings that the daemon would run with. None, and the reasons on stderr, when something is wrong with them:
    /// where the daemon goes on with defaults, a tool would work on the wrong database.
    [[nodiscard]] std::optional<SysVar> Settings() const;

private:
    QCommandLineParser parser;
    Takes takes;
};

/// The file that counts when none is named: beside the program.
[[nodiscard]] QString DefaultSettings();

/// The file `named`, or `otherwise` if there is no name. When that does not exist, all defaults apply and nothing is
/// wrong.
[[nodiscard]] SettingsFile OpenSettings(const QString& named, const QString& otherwise);

/// One sentence for the operator, on stdout.
void Tell(const QString& sentence);
/// One sentence about a problem, on stderr.
void Complain(const QString& sentence);
/// Complains of each. The exit code of a command that ends with it.
[[nodiscard]] int ComplainOfAll(const QStringList& problems);
