#include "simulatedline.h"

#include "clock.h"

#include <QSocketNotifier>

#include <algorithm>
#include <cstdio>

namespace {

constexpr std::chrono::hours LongestWait(24); // a timer counts the milliseconds in an int

} // namespace

SimulatedLine::SimulatedLine(LinePeer& linePeer, const QString& trafficFile, QObject* parent)
    : QObject(parent),
      peer(linePeer)
{
    if (!trafficFile.isEmpty())
        traffic.emplace(trafficFile);
    due.setSingleShot(true);
    due.setTimerType(Qt::PreciseTimer);
    connect(&due, &QTimer::timeout, this, &SimulatedLine::WriteWhatIsDue);
}

bool SimulatedLine::Open(const QString& path, QString& error)
{
    if (!terminal.Open(path, error))
        return false;
    auto* const notifier = new QSocketNotifier(terminal.Descriptor(), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &SimulatedLine::TakeInput);
    clock.start();
    WriteWhatIsDue();
    return true;
}

Moment SimulatedLine::Now() const
{
    return Moment(clock.nsecsElapsed() / 1000);
}

void SimulatedLine::TakeInput()
{
    const QByteArray bytes = terminal.Read();
    if (bytes.isEmpty())
        return;
    LogTraffic(RecordedWrite::Speaker::Daemon, bytes);
    peer.Receive(bytes, Now());
    WriteWhatIsDue();
}

void SimulatedLine::WriteWhatIsDue()
{
    std::optional<Moment> next;
    while ((next = peer.NextDue()) && *next <= Now()) {
        const QByteArray bytes = peer.Take(Now());
        if (bytes.isEmpty())
            continue;
        LogTraffic(RecordedWrite::Speaker::Modem, bytes);
        bytesLost += bytes.size() - terminal.Write(bytes);
    }
    if (next)
        due.start(
            std::chrono::ceil<std::chrono::milliseconds>(std::clamp<Moment>(*next - Now(), Moment(0), LongestWait)));
}

void SimulatedLine::LogTraffic(RecordedWrite::Speaker speaker, const QByteArray& bytes)
{
    if (traffic && !traffic->WriteLine(FormatTraffic({CurrentDateTime(), speaker, bytes}))) {
        std::fprintf(stderr, "Cannot write the traffic log %s: %s. It ends here.\n", qUtf8Printable(traffic->Path()),
            qUtf8Printable(traffic->ErrorString()));
        traffic.reset();
    }
}
