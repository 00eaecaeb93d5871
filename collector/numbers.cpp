// Tells nodes the numbers that the register holds for their meters. Asked for by the administrator.

#include "collector.h"
#include "delay.h"
#include "maindatabase.h"
#include "statements.h"

#include <QtEndian>

using namespace Qt::StringLiterals;
using MainBase::Execute;
using MainBase::InLiteral;

void TCollector::SendCounterNumber(QByteArray uin)
{
    constexpr char MeterNumber = '\x07';
    const QString address = QString::fromUtf8(uin);
    QSqlQuery meter = Execute(Statements::NumberOf, InLiteral(address));
    if (!meter.next()) {
        LogText(meter.lastError().text());
        return;
    }
    QByteArray payload(5, MeterNumber);
    qToLittleEndian<qint32>(meter.value(0).toInt(), payload.data() + 1);
    SendToNode(address, ToC0C1(payload));
}

void TCollector::SendCountersNumbers()
{
    constexpr unsigned int PauseMs = 5000;
    const QStringList nodeMeters = MainBase::ColumnOf(Execute(Statements::NodesToNumber));
    for (qsizetype i = 0; i < nodeMeters.size(); ++i) {
        // The address is looked for in the answer's second column, and there is none. Administrators know that this
        // command only takes its time, and send SendCounterNumber() for each node.
        SendCounterNumber({});
        Delay(PauseMs);
    }
}

/// The text goes out as it is, between frame bytes that it may contain itself: nodes do not undo any escaping here.
void TCollector::SendCINumber(QByteArray uin)
{
    const QString address = QString::fromUtf8(uin);
    QSqlQuery meter = Execute(Statements::KiNumberOf, InLiteral(address));
    if (!meter.next()) {
        LogText(meter.lastError().text());
        return;
    }
    SendToNode(address, "\xC0\x06" + meter.value(0).toString().toLatin1() + '\xC1');
}

void TCollector::SendCommand_04() { }
