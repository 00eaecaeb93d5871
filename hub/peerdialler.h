#pragma once

#include "peerusers.h"

#include <QObject>
#include <QString>

class DaemonLink;
class TMyLocalSocket;

/// The peer link of a daemon whose settings do not tell it to connect to us: then we connect to it, for it sends its
/// summaries to all peers, whoever made the connection.
class PeerDialler final : public QObject {
    Q_OBJECT

public:
    /// `ownName` is what this process calls itself.
    PeerDialler(DaemonLink& link, QString ownName, PeerUsers users, QObject* parent = nullptr);

    /// Connects now, and every 5 s when the link is gone.
    void Start();

private:
    void Dial();
    void Join(TMyLocalSocket* socket);
    void GiveUp(TMyLocalSocket* socket);

    DaemonLink& link;
    const QString ownName;
    const PeerUsers users;
    TMyLocalSocket* dialled = nullptr;
    bool refusalTold = false;
};
