// What the settings can switch on beside the default conduct: a modem that has lost its start-up gets it again.

#include "log.h"
#include "zigbee.h"

#include <utility>

/// For the end of a poll that runs inside no other: what has come is read, and no message is on its way to the port. A
/// modem that stays silent is told of once.
void ZigBee::RecoverWhenLost()
{
    constexpr int MostUnanswered = 10;
    const bool reopened = Port->TakeReopened();
    if (!reopened && (unanswered < MostUnanswered || !Port->IsOpen()))
        return;
    if (reopened || !std::exchange(silenceTold, true)) {
        Log(reopened ? tr("The modem port is open again: the modem is started anew")
                     : tr("The modem said nothing to %1 messages: it is started anew").arg(unanswered));
        emit Error(StartedAnewCode);
    }
    Init();
    if (!MainUIN.isEmpty())
        SendMainUIN();
    unanswered = 0;
}
