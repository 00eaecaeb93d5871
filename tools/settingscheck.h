#pragma once

#include "finding.h"
#include "settingsfile.h"
#include "sysvar.h"

#include <memory>

/// The daemon's settings beside the files that they come from, for a person to judge.
class SettingsCheck final {
public:
    /// As the daemon reads them that is started with "-settings `name`".
    explicit SettingsCheck(const QString& name);

    [[nodiscard]] const SysVar& Vars() const { return vars; }
    [[nodiscard]] QString LogName() const;
    /// All that were read.
    [[nodiscard]] QStringList FileNames() const;

    struct Setting {
        QString key; ///< "Main/PortKS"
        QString value; ///< three stars for a password
        QString origin; ///< a file; empty: the default
    };
    /// Every key that the daemon knows.
    [[nodiscard]] QList<Setting> InForce() const;

    /// Whatever the files give as a password, used or not.
    [[nodiscard]] QStringList Secrets() const;

    /// What would not work as it was meant.
    [[nodiscard]] Findings Judge() const;

    [[nodiscard]] static QStringList KnownKeys();

private:
    struct File {
        QString name;
        SettingsFile settings;
    };
    [[nodiscard]] QList<const File*> Files() const;
    [[nodiscard]] Findings ReadingFindings() const;
    [[nodiscard]] Findings KeyFindings() const;
    [[nodiscard]] Findings SecretFindings() const;
    [[nodiscard]] Findings NumberFindings() const;
    [[nodiscard]] Findings PatternFindings() const;
    [[nodiscard]] Findings PlaceFindings() const;

    File main;
    std::unique_ptr<File> base; ///< null: the database keys are in the main file
    SysVar vars;
};
