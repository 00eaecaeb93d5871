#pragma once

#include "fieldconduct.h"

#include <QString>

class SettingsFile;

/// The settings that drive the collector, each field named after its key. Plain and copyable.
struct SysVar {
    // Group "Main"
    QString PortKS; ///< serial device of the radio modem
    QString PortCounterKTP; ///< serial device of the substation meter
    QString PortAlarmButton; ///< read, but never opened
    double CounterKTPMultiplier = 1.0; ///< applied to every value of the substation meter
    quint16 BCAST_to_UCAST_Delay = 15000; ///< ms
    quint16 UCAST_to_UCAST_Delay = 10000; ///< ms

    // Group "Base"
    QString BaseName; ///< database name, or SQLite file
    QString SqlHostName;
    QString SqlLogin;
    QString SqlPassword;
    QString BDType; ///< "sqlite3" or "postgres"
    qint32 SqlPort = -1; ///< -1: the driver's default

    // Group "Main"
    quint8 RepeateQueryKTPNumber = 15; ///< further tries to read the substation meter
    quint8 RepeatQueryNumber = 5; ///< re-ask passes of a sweep
    QString TimeOfQuery; ///< patterns searched in "dd hh:mm"
    QString TimeOfSetTime;
    QString TimeOfGetTime;

    FieldConduct field; ///< group "Field"

    QString NtpServer; ///< address whose line counts in the time daemon's listing; empty: any
};

/// Every field from its key in `settings`, or its default. When "Base/BaseIni" names another file, all database keys
/// come from there; what is wrong with that file or its values is then among the value problems of `settings`.
[[nodiscard]] SysVar ReadSysVar(SettingsFile& settings);
