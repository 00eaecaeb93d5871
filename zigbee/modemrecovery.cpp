// What the settings can switch on beside the default conduct: a modem that has lost its start-up gets it again.

#include "log.h"
#include "zigbee.h"

/// For the end of a poll that runs inside no other: what has come is read, and no message is on its way to the port. A
/// modem that stays silent is started again and again, and told of once. One that refuses everything, as after a power
/// cut, is started once: it may be right.
void ZigBee::RecoverWhenLost()
{
    constexpr int Most = 10;
    const bool reopened = Port->TakeReopened();
    const bool refuses = refused >= Most && !refusalsTold;
    const bool isSilent = unanswered >= Most;
    if (!reopened && ((!refuses && !isSilent) || !Port->IsOpen()))
        return;
    if (reopened || refuses || !silenceTold) {
        Log(reopened      ? tr("The modem port is open again: the modem is started anew")
                : refuses ? tr("The modem refused %1 messages: it is started anew").arg(refused)
                          : tr("The modem said nothing to %1 messages: it is started anew").arg(unanswered));
        emit Error(StartedAnewCode);
    }
    silenceTold = silenceTold || isSilent;
    refusalsTold = refusalsTold || refuses;
    Init();
    if (!MainUIN.isEmpty())
        SendMainUIN();
    unanswered = 0;
    refused = 0;
}
