// What the modem reports about the messages sent, and about itself.

#include "collector.h"
#include "modemparser.h"

using namespace Qt::StringLiterals;

// Reports belong to messages by their order alone, the first report to the first message. The modem's number is not
// used.
void TCollector::zACK(quint8)
{
    if (!reports.Acknowledged())
        LogText(tr("Received 'ACK', but stack is empty"));
}

void TCollector::zNACK(quint8)
{
    if (const std::optional<QByteArray> uin = reports.Refused())
        LogText(tr("Error. Received 'NACK' from modem with number %1").arg(QString::fromUtf8(*uin)));
    else
        LogText(tr("Received 'NACK', but stack is empty"));
}

void TCollector::zError(quint16 code)
{
    LogText(tr("Error number %1").arg(code));
    SendError(ktpGlobalId, code);
}

// Whether the modem took a message says nothing about its node.
void TCollector::zAcceptUCAST(quint8) { }

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
