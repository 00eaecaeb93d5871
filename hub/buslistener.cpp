#include "buslistener.h"

#include "busstream.h"
#include "localserver.h"
#include "localsocket.h"
#include "log.h"
#include "shown.h"

#include <QTimer>

#include <utility>

namespace {

constexpr qsizetype MostStrangers = 16;
constexpr qint32 LongestIdentify = 1024;
constexpr int IdentifyWithinMs = 10000;
constexpr int ListenAgainMs = 5000;
constexpr int LogPeriodMs = 60000;

/// Whether a program is there that takes connections under `name`.
bool SomebodyListens(const QString& name)
{
    constexpr int LongEnoughMs = 200;
    QLocalSocket probe;
    probe.connectToServer(name);
    return probe.waitForConnected(LongEnoughMs);
}

} // namespace

BusListener::BusListener(QString name_, PeerUsers users_, Welcome welcome_, QObject* parent)
    : QObject(parent),
      name(std::move(name_)),
      users(std::move(users_)),
      welcome(std::move(welcome_)),
      server(new TMyLocalServer(this))
{
    server->Admits = [this](qintptr descriptor) { return Admits(descriptor); };
    connect(server, &TMyLocalServer::newConnection, this, &BusListener::Arrive);
}

void BusListener::Start()
{
    auto* const again = new QTimer(this);
    connect(again, &QTimer::timeout, this, &BusListener::Listen);
    again->start(ListenAgainMs);
    auto* const period = new QTimer(this);
    connect(period, &QTimer::timeout, this, [this] { refusals.PeriodEnds(tr("... and %1 more refusals")); });
    period->start(LogPeriodMs);
    Listen();
}

void BusListener::Listen()
{
    if (server->isListening())
        return;
    QString obstacle;
    if (SomebodyListens(name)) {
        obstacle = tr("another program does");
    } else {
        QLocalServer::removeServer(name);
        if (!server->listen(name))
            obstacle = server->errorString();
    }
    if (!obstacle.isEmpty()) {
        server->close();
        const QString text = tr("Cannot listen on the bus as %1: %2").arg(name, obstacle);
        if (listening.Fails(text))
            Log(text, Severity::Error);
        return;
    }
    const QString text = tr("Listening on the bus as %1").arg(name);
    listening.Works(text);
    Log(text);
}

bool BusListener::Admits(qintptr descriptor)
{
    if (strangers.size() >= MostStrangers) {
        refusals.Line(tr("A connection to %1 is refused: %2 others have not said who they are")
                          .arg(name, QString::number(strangers.size())));
        return false;
    }
    if (const auto user = users.Refused(descriptor)) {
        refusals.Line(tr("A connection to %1 is refused: the user with number %2 is not among BusUsers")
                          .arg(name, QString::number(*user)));
        return false;
    }
    return true;
}

void BusListener::Arrive(TMyLocalSocket* socket)
{
    auto* const stream = new BusStream(socket, LongestIdentify, this);
    auto* const timer = new QTimer(stream);
    timer->setSingleShot(true);
    strangers.insert(stream, timer);
    connect(timer, &QTimer::timeout, this, [this, stream] { SendAway(stream, tr("it did not say who it is")); });
    connect(stream, &BusStream::Ended, this, [this, stream] { SendAway(stream, tr("it did not say who it is")); });
    connect(stream, &BusStream::Received, this, [this, stream](const BusFrame::Frame& frame) {
        if (const auto* const identify = std::get_if<BusFrame::Identify>(&frame))
            Identify(stream, identify->name);
        else
            SendAway(stream, tr("it did not say who it is first"));
    });
    timer->start(IdentifyWithinMs);
}

void BusListener::Identify(BusStream* stream, const QByteArray& daemon)
{
    Forget(stream);
    if (!welcome(daemon, stream))
        SendAway(stream, tr("no settings file of Daemons has the ServerName %1").arg(Shown(daemon)));
}

void BusListener::SendAway(BusStream* stream, const QString& reason)
{
    refusals.Line(tr("A connection to %1 is closed: %2").arg(name, reason));
    Forget(stream);
    stream->Close();
    stream->deleteLater();
}

void BusListener::Forget(BusStream* stream)
{
    stream->disconnect(this);
    delete strangers.take(stream);
}
