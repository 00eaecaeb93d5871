#pragma once

#include "limitedlog.h"
#include "necessity.h"
#include "peerusers.h"

#include <QHash>
#include <QObject>
#include <QString>

#include <functional>

class BusStream;
class TMyLocalServer;
class TMyLocalSocket;

/// One of the bus names that this process listens under. Whoever connects has to say at once which daemon it is; what
/// others may claim of the memory and of the descriptors is bounded.
class BusListener final : public QObject {
    Q_OBJECT

public:
    /// Takes the connection of the daemon that calls itself `daemon`, then true; or false: no such daemon is known.
    using Welcome = std::function<bool(const QByteArray& daemon, BusStream* stream)>;

    BusListener(QString name, PeerUsers users, Welcome welcome, QObject* parent = nullptr);

    /// Listens from now on; while that fails, it is tried again every 5 s. A socket of that name that nobody listens on
    /// is removed.
    void Start();

private:
    void Listen();
    [[nodiscard]] bool Admits(qintptr descriptor);
    void Arrive(TMyLocalSocket* socket);
    void Identify(BusStream* stream, const QByteArray& daemon);
    void SendAway(BusStream* stream, const QString& reason);
    void Forget(BusStream* stream);

    const QString name;
    const PeerUsers users;
    const Welcome welcome;
    TMyLocalServer* const server;
    QHash<BusStream*, QObject*> strangers; ///< with what limits their time
    Necessity listening;
    LimitedLog refusals{10}; // a period is a minute
};
