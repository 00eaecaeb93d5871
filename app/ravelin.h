#pragma once

#include "serverplugin.h"
#include "sysvar.h"

/// The controller: reads the settings, creates the parts of the daemon and joins them.
class Ravelin final : public TServerPlugin {
    Q_OBJECT

public:
    Ravelin();

    /// Reads the bus settings and the controller's own. With an empty `fileName` the two come from different files: the
    /// bus settings from the program's default settings file, the others from the program's own path with ".ini" behind
    /// it. Installations rely on both. Always true.
    bool LoadSettings(const QString& fileName);

    void Start() override;

    [[nodiscard]] const SysVar& LoadedSettings() const { return Settings; }

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    SysVar Settings;
};
