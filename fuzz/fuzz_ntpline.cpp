#include "fuzztarget.h"
#include "ntpline.h"

#include <cmath>

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    constexpr int DayMs = 24 * 60 * 60 * 1000;
    const QByteArray line = InPlace(bytes, size);
    const float offsetMs = NtpLine::Offset(line);
    for (const QTime time : {QTime(0, 0), QTime(12, 0), QTime(23, 59, 59, 999)}) {
        const QTime corrected = NtpLine::Corrected(time, offsetMs);
        Require(corrected.isValid());
        const int ahead = (time.msecsTo(corrected) + DayMs) % DayMs;
        if (!std::isfinite(offsetMs) || offsetMs < 1000)
            Require(ahead == 0);
        else if (offsetMs < DayMs)
            Require(ahead == static_cast<int>(offsetMs));
    }
    // Only the ninth column counts, however far it stands from its neighbours and whatever follows it.
    const float again = NtpLine::Offset("  " + QByteArray(line).replace(' ', "   ") + " 1 2 3");
    Require(again == offsetMs || offsetMs == 0 || std::isnan(offsetMs));
    return 0;
}
