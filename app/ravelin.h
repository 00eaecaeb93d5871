#pragma once

#include "collector.h"
#include "serverplugin.h"
#include "sysvar.h"
#include "zigbee.h"
#include "zucastbuffer.h"

class TMyLocalSocket;

/// The controller: reads the settings, creates the parts of the daemon and joins them; carries out the administrator's
/// commands and shows the traffic. One file each: ravelin.cpp, admincommands.cpp, trafficdisplay.cpp.
class Ravelin final : public TServerPlugin {
    Q_OBJECT

public:
    Ravelin();

    /// Reads the bus settings and the controller's own. With an empty `fileName` the two come from different files: the
    /// bus settings from the program's default settings file, the others from the program's own path with ".ini" behind
    /// it. Always true.
    bool LoadSettings(const QString& fileName);

    /// Creates the modem driver (which blocks for 13 seconds), the unicast buffer and whatever works on them, and joins
    /// them. They live until the process ends.
    void Start() override;

    [[nodiscard]] const SysVar& LoadedSettings() const { return Settings; }

    /// What the nodes have sent of unfinished answers; null before Start().
    [[nodiscard]] const ZUCASTBuffer* Fragments() const { return UnicastBuffer; }

    /// Sends the read-out command to one fixed node. Part of the given interface; the daemon does not call it.
    void Test();

signals:
    // All but the last are part of the given interface; the daemon does not emit them (Test() does the first), and
    // nothing is joined to ResetNet().
    void SendMessage(QByteArray uin, QByteArray message);
    void SendBMessage(QByteArray message);
    void ScanNet();
    void ResetNet();
    void NeedQuery();

public slots:
    // --- admincommands.cpp
    void AdminCommand(QByteArray& command_name, QByteArray& data, int IDConnection, TMyLocalSocket* socket);

    // --- trafficdisplay.cpp: each event to the debug output, and to the administrator while the live view is on.
    // The first two, ReceivedUCAST() and ReceivedBCAST() are part of the given interface; the daemon does not call
    // them.
    void on_pbReceive_clicked();
    void on_pbPrintNet_clicked();
    void ReceivedData(QByteArray raw);
    void ReceivedUCAST(QByteArray uin, QByteArray data);
    void ReceivedBCAST(QByteArray uin, QByteArray data);
    void NewDevice(QByteArray uin);
    void ShowLog(QByteArray text);
    void ShowCounterPortData(QByteArray raw);
    void ShowLog(QString text);

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    struct Request;
    struct KnownCommand;
    static const KnownCommand Commands[];

    // --- admincommands.cpp
    void SwitchLiveViewOn(const Request& request);
    void SwitchLiveViewOff(const Request& request);
    void About(const Request& request);
    void QueryCounter(const Request& request);
    void RequestQuery(const Request& request);
    void ListNodes(const Request& request);
    void ResetNode(const Request& request);
    void WriteDirectly(const Request& request);
    void SendCountersNumbers(const Request& request);
    void SendCounterNumber(const Request& request);
    void SendCommand04(const Request& request);
    void SendMainUIN(const Request& request);
    void SendKINumber(const Request& request);
    void Quit(const Request& request);
    void EndOnQuitSignal();
    void ResetKS(const QByteArray& uin);

    // --- trafficdisplay.cpp
    void Forward(const QString& message, const QByteArray& data = QByteArrayLiteral(""));

    ZigBee* Modem = nullptr;
    SysVar Settings;
    ZUCASTBuffer* UnicastBuffer = nullptr;
    TCollector* Collector = nullptr;
    bool InData = false;
};
