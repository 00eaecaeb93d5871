// Tells nodes the numbers that the register holds for their meters. Asked for by the administrator.

#include "collector.h"
#include "delay.h"
#include "maindatabase.h"
#include "nodecommands.h"
#include "service.h"
#include "statements.h"

using namespace Qt::StringLiterals;
using MainBase::Execute;
using MainBase::InLiteral;

void TCollector::SendCounterNumber(QByteArray uin)
{
    Service::Step();
    const QString address = QString::fromUtf8(uin);
    QSqlQuery meter = Execute(Statements::NumberOf, InLiteral(address));
    if (!meter.next()) {
        LogText(meter.lastError().text());
        return;
    }
    SendToNode(address, NodeCommands::MeterNumber(meter.value(0).toInt()));
}

void TCollector::SendCountersNumbers()
{
    constexpr unsigned int PauseMs = 5000;
    const QStringList nodeMeters = MainBase::ColumnOf(Execute(Statements::NodesToNumber));
    for (const QString& uin : nodeMeters) {
        // The address is looked for in a second column, which the answer does not have: no node is found, and nothing
        // is sent. Given so; the settings mend it. "Send_counter_number" tells one node its number.
        SendCounterNumber(vars.field.Has(FieldConduct::Numbers) ? uin.toUtf8() : QByteArray());
        Delay(PauseMs);
    }
}

void TCollector::SendCINumber(QByteArray uin)
{
    const QString address = QString::fromUtf8(uin);
    QSqlQuery meter = Execute(Statements::KiNumberOf, InLiteral(address));
    if (!meter.next()) {
        LogText(meter.lastError().text());
        return;
    }
    SendToNode(address, NodeCommands::KiNumber(meter.value(0).toString().toLatin1()));
}

void TCollector::SendCommand_04() { }
