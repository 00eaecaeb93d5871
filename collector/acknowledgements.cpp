// What the modem reports about the messages sent, and about itself.

#include "collector.h"
#include "modemparser.h"
#include "zigbee.h"

using namespace Qt::StringLiterals;

// By default reports are matched to messages by their order alone, first in, first out, whatever number the modem
// gives.
void TCollector::zACK(quint8 i)
{
    if (const std::optional<QByteArray> uin = reports.Acknowledged(i))
        Reported(*uin, true);
    else
        LogText(tr("Received 'ACK', but stack is empty"));
}

void TCollector::zNACK(quint8 i)
{
    if (const std::optional<QByteArray> uin = reports.Refused(i)) {
        LogText(tr("Error. Received 'NACK' from modem with number %1").arg(QString::fromUtf8(*uin)));
        Reported(*uin, false);
    } else {
        LogText(tr("Received 'NACK', but stack is empty"));
    }
}

void TCollector::Reported(const QByteArray& uin, bool delivered)
{
    if (round)
        round->Reported(QString::fromUtf8(uin), delivered);
}

void TCollector::zError(quint16 code)
{
    LogText(tr("Error number %1").arg(code));
    const bool readAnew = vars.field.Has(FieldConduct::Substation);
    SendError(readAnew ? SubstationGlobalId() : ktpGlobalId, code);
    if (code == ZigBee::StartedAnewCode) {
        if (round)
            round->StartAgain();
        return;
    }
    reports.NumberIsLost();
    if (round)
        round->Refused();
}

// Whether the modem took a message says nothing about its node, only which number its report will have.
void TCollector::zAcceptUCAST(quint8 i)
{
    const std::optional<DeliveryReports::EarlyReport> report = reports.Accepted(i);
    if (!round)
        return;
    round->Accepted();
    if (report)
        Reported(report->uin, report->delivered);
}

/// Reads the text of the alarm input like the modem's output, and reports the errors in it.
void TCollector::CheckAlarm()
{
    const QByteArray alarmText; // no input is attached yet
    ParseModemChunk(
        alarmText, [](const QByteArray&) { return true; },
        [this](const ModemEvent::Any& event) {
            if (const auto* const refused = std::get_if<ModemEvent::Refused>(&event))
                zError(refused->code);
        });
}
