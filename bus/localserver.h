#pragma once

#include <QLocalServer>

class TMyLocalSocket;

/// The process's own end of the bus: hands out each accepted connection as a TMyLocalSocket, its child.
class TMyLocalServer final : public QLocalServer {
    Q_OBJECT

public:
    using QLocalServer::QLocalServer;

signals:
    void newConnection(TMyLocalSocket* socket);

protected:
    void incomingConnection(quintptr socketDescriptor) override;
};
