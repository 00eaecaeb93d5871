#include "daemonlink.h"

#include "clock.h"

#include <QTimer>

#include <limits>
#include <utility>
#include <variant>

using namespace Qt::StringLiterals;

namespace {

constexpr qint32 LongestFrame = 16 * 1024 * 1024; // the rows of 380,000 meters
constexpr QByteArrayView LiveView("InData"); // the name of all Actions that nobody has asked for

} // namespace

DaemonLink::DaemonLink(QString controller_, QObject* parent)
    : QObject(parent),
      controller(std::move(controller_)),
      since(CurrentDateTime())
{
}

void DaemonLink::Take(BusStream*& link, BusStream* stream)
{
    if (link)
        Lose(link);
    link = stream;
    stream->setParent(this);
    stream->SetLongestFrame(LongestFrame);
    connect(stream, &BusStream::Received, this, &DaemonLink::Receive);
    connect(stream, &BusStream::Ended, this, [this, &link] { Lose(link); });
    Touch();
    if (&link == &admin) {
        since = lastHeard;
        SwitchLiveView(); // it may still be as an earlier administrator left it
    }
    emit Changed();
}

void DaemonLink::Lose(BusStream*& link)
{
    BusStream* const lost = std::exchange(link, nullptr);
    lost->disconnect(this);
    lost->Close();
    lost->deleteLater();
    if (&link == &admin) {
        since = CurrentDateTime();
        while (!waiting.isEmpty())
            Finish(waiting.begin().key(), {Outcome::Away, {}, {}});
    }
    emit Changed();
}

void DaemonLink::Touch()
{
    lastHeard = CurrentDateTime();
}

void DaemonLink::Send(
    const QByteArray& name, const QByteArray& data, bool answers, int timeoutMs, const WhenDone& whenDone)
{
    if (!admin) {
        whenDone({Outcome::Away, {}, {}});
        return;
    }
    const qint32 id = nextId;
    nextId = nextId == std::numeric_limits<qint32>::max() ? 1 : nextId + 1;
    if (answers) {
        auto* const timer = new QTimer(this);
        timer->setSingleShot(true);
        connect(timer, &QTimer::timeout, this, [this, id] { Finish(id, {Outcome::Silent, {}, {}}); });
        waiting.insert(id, {name, whenDone, timer});
        timer->start(timeoutMs);
    }
    admin->Write(BusFrame::Encode(BusFrame::Command{name, data, id}));
    if (!answers)
        whenDone({Outcome::Sent, {}, {}});
}

void DaemonLink::Finish(qint32 id, const Reply& reply)
{
    const Waiting done = waiting.take(id);
    done.timer->stop();
    done.timer->deleteLater();
    done.whenDone(reply);
}

void DaemonLink::WantLiveView(bool wanted)
{
    if (std::exchange(liveViewWanted, wanted) != wanted && admin)
        SwitchLiveView();
}

void DaemonLink::SwitchLiveView()
{
    const QByteArray name = liveViewWanted ? "Input_Data_On" : "Input_Data_Off";
    admin->Write(BusFrame::Encode(BusFrame::Command{name, {}, -1}));
}

void DaemonLink::ReadAll()
{
    for (BusStream** const link : {&admin, &peer})
        if (*link)
            (*link)->ReadAll();
}

void DaemonLink::Receive(const BusFrame::Frame& frame)
{
    Touch();
    if (const auto* const action = std::get_if<BusFrame::Action>(&frame))
        ReceiveAction(*action);
    else if (const auto* const data = std::get_if<BusFrame::Data>(&frame); data && !data->data.isEmpty())
        emit Summary(data->data);
}

void DaemonLink::ReceiveAction(const BusFrame::Action& action)
{
    if (action.actionName == LiveView)
        ShowLive(action);
    else if (const auto found = waiting.constFind(action.idConnection);
             found != waiting.constEnd() && found->name == action.actionName)
        Finish(action.idConnection, {Outcome::Answered, action.message, action.data});
}

/// Bytes are told with a text that depends on the daemon's language; the substation meter's has more words.
void DaemonLink::ShowLive(const BusFrame::Action& action)
{
    const QString text = QString::fromUtf8(action.message);
    if (action.data.isEmpty()) {
        emit Told(text);
        return;
    }
    emit Traffic(text != "COM-port data"_L1 && text != u"Данные COM-порта", action.data);
}
