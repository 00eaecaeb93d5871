#pragma once

#include <QLocalServer>

#include <functional>

class TMyLocalSocket;

/// The process's own end of the bus: hands out each accepted connection as a TMyLocalSocket, its child.
class TMyLocalServer final : public QLocalServer {
    Q_OBJECT

public:
    using QLocalServer::QLocalServer;

    /// Asked about each connection that comes in; on false it is closed and nobody hears of it. All are taken when it
    /// is not set.
    std::function<bool(qintptr descriptor)> Admits;

signals:
    void newConnection(TMyLocalSocket* socket);

protected:
    void incomingConnection(quintptr socketDescriptor) override;
};
