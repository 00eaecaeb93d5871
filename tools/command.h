#pragma once

#include "sysvar.h"

#include <QCommandLineParser>
#include <QList>
#include <QStringList>

#include <optional>

/// How a command ends.
enum ExitCode { Done = 0, Problems = 1, WrongUsage = 2 };
/// The exit code of a command that did its work and found something.
inline constexpr int Found = 3;

/// A command, or a group of commands. `run` gets the words of the command line from its own on: the first names the way
/// to it ("ravelinctl register"). Returns the exit code.
struct Subcommand {
    QString name;
    QString summary;
    int (*run)(const QStringList& words);
};

/// Runs the command that the second of `words` names; tells the ways to go on for "--help", "help", a missing and a
/// wrong name.
[[nodiscard]] int RunOneOf(const QList<Subcommand>& commands, const QString& about, QStringList words);

/// The options of one command and what it takes beside them.
class CommandLine final {
public:
    enum class Takes { Nothing, OptionalFile, File, NewFile, GlobalIds, Controller, NameAndArgument };

    CommandLine(const QString& about, Takes takes);

    /// Takes no value.
    void AddFlag(const QString& name, const QString& about);
    /// `name` takes a value, which `meaning` names.
    void AddOption(const QString& name, const QString& meaning, const QString& about, const QString& defaultValue);

    /// An exit code when the command has nothing left to do: help was asked for, or the usage is wrong.
    [[nodiscard]] std::optional<int> Parse(const QStringList& words);

    /// Empty when none was given.
    [[nodiscard]] QString FileName() const { return parser.positionalArguments().value(0); }

    [[nodiscard]] QString Controller() const { return parser.positionalArguments().value(0); }

    /// Both empty when they were not given.
    [[nodiscard]] QString Name() const { return parser.positionalArguments().value(0); }
    [[nodiscard]] QString Argument() const { return parser.positionalArguments().value(1); }

    /// At least one.
    [[nodiscard]] QStringList GlobalIds() const { return parser.positionalArguments(); }

    [[nodiscard]] QString Option(const QString& name) const { return parser.value(name); }

    [[nodiscard]] bool HasFlag(const QString& name) const { return parser.isSet(name); }

    /// The settings file to work with: the last that was named, or else the first that is there of the usual ones.
    struct SettingsChoice {
        QString name; ///< empty: none is there
        QString remark; ///< a sentence for the operator about what was not named; empty when it was
        QStringList others; ///< further usual ones that are there, too, when none was named
    };
    [[nodiscard]] SettingsChoice ChooseSettings() const;

    /// The settings that the daemon would run with. None, and the reasons on stderr, when something is wrong with them:
    /// where the daemon goes on with defaults, a tool would work on the wrong database. Tells which file was taken if
    /// none was named, on stdout or through `tell`.
    [[nodiscard]] std::optional<SysVar> Settings(void (*tell)(const QString& sentence) = nullptr) const;

private:
    void Add(const QCommandLineOption& option);
    [[nodiscard]] QString UsageProblem() const;

    QCommandLineParser parser;
    QStringList optionNames;
    Takes takes;
};

/// One sentence for the operator, on stdout.
void Tell(const QString& sentence);
/// One sentence about a problem, on stderr.
void Complain(const QString& sentence);
/// Complains of each. The exit code of a command that ends with it.
[[nodiscard]] int ComplainOfAll(const QStringList& problems);
