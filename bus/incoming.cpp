// The connections that peers open to this process's own server: which are taken, and what is told of them.

#include "connector.h"
#include "shown.h"

#include <algorithm>

#include <sys/resource.h>

namespace {

// Half of the descriptors stay for the process itself. The second bound is for systems that set no narrow one.
qsizetype MostConnections()
{
    constexpr rlim_t MostEver = 4000;
    rlimit descriptors = {};
    ::getrlimit(RLIMIT_NOFILE, &descriptors);
    return static_cast<qsizetype>(std::min(descriptors.rlim_cur / 2, MostEver));
}

} // namespace

bool TConnector::Admits(qintptr descriptor)
{
    if (InConnections.size() >= MostConnections()) {
        refusalLog.Line(tr("A connection is refused: %1 are open").arg(InConnections.size()));
        return false;
    }
    if (const auto user = users.Refused(descriptor)) {
        refusalLog.Line(tr("A connection of the user with number %1 is refused: it is not among BusUsers").arg(*user));
        return false;
    }
    return true;
}

void TConnector::newInConnection(TMyLocalSocket* socket)
{
    // To ask who has sent a signal takes the longer the more connections there are: the lambdas know.
    connect(socket, &QLocalSocket::disconnected, this, [this, socket] { EndIn(socket); });
    connect(socket, &QLocalSocket::errorOccurred, this, [this, socket] { FailIn(socket); });
    connect(socket, &TMyLocalSocket::NewData, this, &TConnector::SlotNewData);
    InConnections.append(socket);
    incomingLog.Line(tr("New In Connection %0\n").arg(Shown(socket->Name)));
}

void TConnector::connectionInError(QLocalSocket::LocalSocketError)
{
    FailIn(SenderSocket());
}

void TConnector::DisconnectInConnection()
{
    EndIn(SenderSocket());
}

void TConnector::FailIn(TMyLocalSocket* socket)
{
    emit ConnectionLost(socket);
    Forget(socket);
    socket->abort();
    incomingLog.Line(tr("Connection In Error: %0\n").arg(Shown(socket->Name)));
}

void TConnector::EndIn(TMyLocalSocket* socket)
{
    Forget(socket);
    incomingLog.Line(tr("Connection in disconnection: %0\n").arg(Shown(socket->Name)));
}

void TConnector::Forget(TMyLocalSocket* socket)
{
    InConnections.removeOne(socket);
    LetGo(socket);
    socket->setParent(nullptr); // the server would delete its child a second time
    socket->deleteLater();
}
