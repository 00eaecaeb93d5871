#pragma once

#include "settingsfile.h"
#include "sysvar.h"

#include <memory>

/// The daemon's settings beside the files that they come from, for a person to judge.
class SettingsCheck final {
public:
    /// Without a name, the two files that the daemon takes then.
    explicit SettingsCheck(const QString& named);

    [[nodiscard]] const SysVar& Vars() const { return vars; }
    [[nodiscard]] QString LogName() const;

    /// Every key that the daemon knows: "Main/PortKS = /dev/ttyUSB0 (default)". The password is not shown.
    [[nodiscard]] QStringList InForce() const;

    /// What would not work as it was meant, a sentence each.
    [[nodiscard]] QStringList Problems() const;

    [[nodiscard]] static QStringList KnownKeys();

private:
    struct File {
        QString name;
        SettingsFile settings;
    };
    [[nodiscard]] QList<const File*> Files() const;
    [[nodiscard]] QStringList KeyProblems() const;
    [[nodiscard]] QStringList EscapeProblems() const;
    [[nodiscard]] QStringList ValueProblems() const;

    File main;
    File bus;
    std::unique_ptr<File> base; ///< null: the database keys are in the main file
    SysVar vars;
};
