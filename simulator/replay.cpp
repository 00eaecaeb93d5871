#include "replay.h"

Replay::Replay(const QList<RecordedWrite>& recording)
{
    for (const RecordedWrite& write : recording)
        if (write.speaker == RecordedWrite::Speaker::Modem)
            writes.append({std::chrono::milliseconds(recording.first().time.msecsTo(write.time)), write.bytes});
    if (!recording.isEmpty() && recording.first().speaker == RecordedWrite::Speaker::Modem)
        begin = Moment(0);
}

void Replay::Receive(const QByteArray&, Moment now)
{
    if (!begin)
        begin = now;
}

std::optional<Moment> Replay::NextDue() const
{
    if (!begin || played == writes.size())
        return std::nullopt;
    return *begin + writes.at(played).offset;
}

QByteArray Replay::Take(Moment now)
{
    const std::optional<Moment> due = NextDue();
    return due && *due <= now ? writes.at(played++).bytes : QByteArray();
}
