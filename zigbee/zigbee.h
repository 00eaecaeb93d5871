#pragma once

#include "fieldconduct.h"
#include "modemparser.h"
#include "modemstream.h"
#include "serialline.h"
#include "zdevice.h"

#include <QObject>
#include <QTimer>

#include <memory>

/// The radio modem: its start-up, its own address, frames to the nodes, and everything it says as signals, read every
/// 500 ms, and whenever the collector wants it. All waits block the thread: the modem needs the gaps between its
/// commands. No failure is returned; a modem that is not there stays silent.
class ZigBee final : public QObject {
    Q_OBJECT

public:
    /// Opens `portName` and runs Init(). `option` is kept and decides nothing; `conduct` is what the settings switch
    /// on.
    ZigBee(QObject* parent, const QString& portName, bool option, FieldConduct conduct = {});
    ~ZigBee() override;

    /// Resets the modem, reads its address, makes a new node table and starts a scan, the answers to which come with
    /// the next polls. Blocks for 13.2 seconds.
    void Init();

    /// Asks the modem for its address and sets ModemVersion; blocks for a second. A modem that answers without its
    /// version line, or not at all, yields what stands at the fixed places, often nothing.
    QByteArray GetModemUIN();

    /// Everything that has come since the last read; announced by Received() unless empty.
    QByteArray GetMessageFromModem();

    /// The tag that announced a node, "none" for one that is not in the table. The table's head, the modem itself, does
    /// not count. Part of the given interface; the daemon does not call it.
    [[nodiscard]] QString SearchZDeviceFromUIN(const QByteArray& uin) const;

    /// Reads and parses what has come; with pacing by answers as far as messages are complete.
    void UpdateZNetwork();

    /// Tells all nodes the modem's address. Returns the frame that was sent.
    QByteArray SendMainUIN();

    /// Writes `bytes` as they are.
    void WriteToPort(const QByteArray& bytes);

    /// The head of the node table; null during Init(), which replaces the whole table.
    [[nodiscard]] const ZDevice* Nodes() const { return ZDevices.get(); }

    /// Error() with it says that the modem is started anew; what the modem reports itself is less.
    static constexpr quint16 StartedAnewCode = 256;

    QByteArray MainUIN;
    qint32 ModemVersion = 0; ///< the three digits between "R" and "X" of the version line; the daemon does not read it

public slots: // NOLINT(readability-redundant-access-specifiers)
    /// To one node, and to all. The payload is sent whole, however long it is; its length field has only two
    /// hexadecimal digits, the length modulo 256.
    void SendMessageToZDevice(const QByteArray& uin, const QByteArray& message);
    void SendBroadcastMessageToZDevice(const QByteArray& message);
    void timer_event();
    void ScanNetwork();

    /// Init() once more. Part of the given interface; the daemon does not call it.
    void Reset();

signals:
    void ReceivedUCAST(const QByteArray& uin, const QByteArray& message);
    void ReceivedBCAST(const QByteArray& uin, const QByteArray& message);
    void NewNode(const QByteArray& uin);
    void Received(const QByteArray& data);
    void ReceivedACK(quint8 i);
    void ReceivedNACK(quint8 i);
    void AcceptUCAST(quint8 i);
    void Error(quint16 i);

private:
    [[nodiscard]] QByteArray ReadPort();
    void Parse(const QByteArray& chunk);
    void UpdateMessageByMessage();
    void Signal(const ModemEvent::NodeFound& event);
    void Signal(const ModemEvent::Unicast& event) { emit ReceivedUCAST(event.uin, event.payload); }
    void Signal(const ModemEvent::Broadcast& event) { emit ReceivedBCAST(event.uin, event.payload); }
    void Signal(ModemEvent::Delivered event) { emit ReceivedACK(event.number); }
    void Signal(ModemEvent::NotDelivered event) { emit ReceivedNACK(event.number); }
    void Signal(ModemEvent::Accepted event);
    void Signal(ModemEvent::Refused event);

    const FieldConduct field;
    void RecoverWhenLost(); ///< Init() again, blocks as long: modemrecovery.cpp

    std::unique_ptr<SerialLine> Port;
    std::unique_ptr<ZDevice> ZDevices;
    QTimer* Timer = nullptr; // of the polls; null during the first Init()
    ModemStream stream; // with pacing by answers
    bool polling = false;
    int unanswered = 0; // messages since the modem said something
    bool silenceTold = false;
    int refused = 0; // messages since the modem accepted one
    bool refusalsTold = false;
    // Part of the given interface; the driver does not look at them.
    QString Text;
    [[maybe_unused]] bool Ready = true;
    [[maybe_unused]] const bool Option;
    QByteArray Pending;
};
