#pragma once

#include "sysvar.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

/// The settings of the forwarder, group "Forward" of its file.
struct ForwardSettings {
    enum class Register : quint8 {
        Local, ///< the controller's counts; the centre gets a copy
        Centre, ///< the centre's counts, and is brought down
    };

    QString file; ///< they come from
    SysVar daemon; ///< of the daemon whose rows are delivered
    QString database; ///< its SQLite file
    QString controller; ///< the name, which is the role at the centre, too
    QByteArray centre; ///< a connection string of libpq's
    int batchRows = 1000;
    int everySeconds = 5;
    Register which = Register::Local;
    bool log = true;
    QString logName;

    /// What is wrong, a sentence each: with any of it nothing is delivered.
    QStringList problems;
};

[[nodiscard]] ForwardSettings ReadForwardSettings(const QString& file);
