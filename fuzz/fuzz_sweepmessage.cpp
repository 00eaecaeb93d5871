// A daemon's bytes: no more rows than they hold, texts within their fields, and the same rows whatever stands behind.

#include "fuzztarget.h"
#include "sweepmessage.h"

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const QByteArray data = InPlace(bytes, size);
    static_cast<void>(DecodeAlarmMessage(data));
    const std::optional<SweepMessage> message = DecodeSweepMessage(data);
    if (!message)
        return 0;
    Require(44 * message->Records() + message->bytesLeft + 2 * message->fileName.size() <= data.size());
    Require(message->bytesLeft < 44);
    for (const SweepReading& row : message->readings)
        Require(row.date.size() <= 10 && row.time.size() <= 8 && !row.date.contains(QChar::Null));
    for (const SweepClock& row : message->clocks)
        Require(row.shown.size() <= 19 && row.asked.size() <= 19);
    return 0;
}
