// What the modem reports about the messages sent, and about itself.

#include "collector.h"
#include "modemparser.h"

using namespace Qt::StringLiterals;

// By default reports are matched to messages by their order alone, first in, first out, whatever number the modem
// gives.
void TCollector::zACK(quint8 i)
{
    if (!reports.Acknowledged(i))
        LogText(tr("Received 'ACK', but stack is empty"));
}

void TCollector::zNACK(quint8 i)
{
    if (const std::optional<QByteArray> uin = reports.Refused(i))
        LogText(tr("Error. Received 'NACK' from modem with number %1").arg(QString::fromUtf8(*uin)));
    else
        LogText(tr("Received 'NACK', but stack is empty"));
}

void TCollector::zError(quint16 code)
{
    LogText(tr("Error number %1").arg(code));
    const bool readAnew = vars.field.Has(FieldConduct::Substation);
    SendError(readAnew ? SubstationGlobalId() : ktpGlobalId, code);
}

// Whether the modem took a message says nothing about its node, only which number its report will have.
void TCollector::zAcceptUCAST(quint8 i)
{
    reports.Accepted(i);
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
