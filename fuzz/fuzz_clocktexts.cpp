// Clocks as meters tell them.

#include "bcdclock.h"
#include "busmessages.h"
#include "ce301.h"
#include "clocktexts.h"
#include "fuzztarget.h"

#include <QtEndian>

using namespace Qt::StringLiterals;

namespace {

void RequireRoundTripBcd(const QByteArray& bcd)
{
    const BcdClock clock = ReadBcdClock(bcd);
    Require(clock.date.isValid() == clock.time.isValid());
    if (!clock.date.isValid())
        return;
    // The fourth byte, the day of the week, is not looked at.
    const QByteArray again = QByteArray::fromHex(clock.time.toString(u"ssmmhh"_s).toLatin1()) + bcd.at(3)
        + QByteArray::fromHex(clock.date.toString(u"ddMMyy"_s).toLatin1());
    Require(again == bcd && clock.date.year() >= 2000 && clock.date.year() < 2100);
}

void RequireRoundTripCE301(quint32 ms)
{
    const QTime time = QTime::fromMSecsSinceStartOfDay(static_cast<int>(ms % (24 * 60 * 60 * 1000)));
    const QByteArray message = ClockTexts::SetTimeCE301(time);
    Require(TCounter_CE301::GetCRC(message.sliced(2).chopped(1)) == message.back());
    QString told;
    Require(TCounter_CE301::ReceiveTime(message, told) && told == time.toString(u"hh:mm:ss"_s));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const QByteArray input = InPlace(bytes, size);
    if (input.size() >= 7) {
        RequireRoundTripBcd(input.first(7));
        RequireRoundTripCE301(qFromLittleEndian<quint32>(bytes));
    }

    // Whatever a CE301 calls its time, the record that peers take apart has its size.
    QString time;
    if (TCounter_CE301::ReceiveTime("TIME_(" + input + ')', time)) {
        Require(BusMessages::ClockRecord(1, time, time).size() == 44);
        Require(BusMessages::ReadingRecord(1, {}, time, time, 0).size() == 44);
    }
    return 0;
}
