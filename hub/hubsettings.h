#pragma once

#include "sysvar.h"

#include <QList>
#include <QString>
#include <QTime>

class SettingsFile;

/// One daemon, as its own settings file has it.
struct HubDaemon {
    QString settingsFile;
    QString controller; ///< its name on the bus
    SysVar vars; ///< its schedule and its database
    bool connectsToPeer = false; ///< its Connections name us; otherwise we connect to it
};

/// The group [Hub] of the hub's settings. Each default stands in share/ravelin-hub.ini.example.
struct HubSettings {
    QList<HubDaemon> daemons; ///< each with another controller
    QString adminName;
    QString peerName;
    QString busUsers;
    QString sweepsDirectory;
    int keepDays = 30; ///< 1 to 36500
    QString socket;
    QString socketGroup; ///< empty: the process's own
    QString listen; ///< "127.0.0.1:8480"; empty: no TCP
    QString tokenFile; ///< empty: nobody commands over TCP
    bool openReading = false;
    int ledgerDays = 62; ///< 1 to 400
    QTime deadline;
    bool trafficAlways = false; ///< not only while somebody watches
};

/// Reads them, and the settings of the daemons that they name. What is wrong, a key that is none among it, is told
/// among the problems of `file`, and its default applies.
[[nodiscard]] HubSettings ReadHubSettings(SettingsFile& file);
