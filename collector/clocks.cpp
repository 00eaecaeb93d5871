// The meters' clocks are set on schedule. The reference clock is stored once a day, under the substation meter: it
// tells how far this computer's own clock was off.

#include "clock.h"
#include "clocktexts.h"
#include "collector.h"
#include "delay.h"
#include "log.h"
#include "maindatabase.h"
#include "metermodel.h"
#include "nodecommands.h"
#include "ntpline.h"
#include "ntpquery.h"
#include "statements.h"

#include <QSet>

using namespace Qt::StringLiterals;
using MainBase::ColumnOf;
using MainBase::Execute;
using MainBase::InLiteral;

namespace {

bool AnyMeterSetOneByOne()
{
    QSqlQuery meter = Execute(Statements::NumbersAndModels);
    while (meter.next()) {
        const MeterModel* const model = FindMeterModel(meter.value(1).toString());
        if (model && model->clockSetOneByOne)
            return true;
    }
    return false;
}

} // namespace

/// If the register holds a single CE301, every node is told the time in that model's way.
void TCollector::SetMeterClocks()
{
    if (AnyMeterSetOneByOne()) {
        SetTimeCE_301();
        return;
    }
    const QByteArray characters = ClockTexts::SetCharacters(CurrentDateTime(), CurrentDateTime().date().dayOfWeek());
    LogText(tr("Time sync: "));
    emit SendBroadcastMessage(NodeCommands::SetClock(characters));
}

void TCollector::SetTimeCE_301()
{
    const QStringList uins = ColumnOf(Execute(Statements::NodeMeters));
    for (const QString& uin : QSet<QString>(uins.begin(), uins.end())) {
        SendToNode(uin, ClockTexts::SetTimeCE301(CurrentDateTime().time()));
        Delay(vars.UCAST_to_UCAST_Delay);
    }
}

/// Once a day. False when the time daemon's listing did not come.
bool TCollector::StoreReferenceClock()
{
    const QStringList uins = ColumnOf(Execute(Statements::SubstationUins));
    const QString uin = InLiteral(uins.isEmpty() ? QString() : uins.last());
    if (MainBase::FirstValueOf(Execute(Statements::ClockReadingCountSince, uin, sweep.sweepDate)).toInt() > 0)
        return true;

    NtpQuery listing;
    if (!listing.Finish()) {
        Log(tr("ntpq -pn did not finish: %1. Polling stays stopped").arg(listing.ErrorString()));
        return false;
    }
    const float offsetMs = NtpLine::Offset(listing.LineOf(vars.NtpServer));
    const QDateTime now = CurrentDateTime();
    const QString date = now.toString(u"yyyy-MM-dd"_s);
    AddClockReading(
        uin, date, now.toString(u"hh:mm:ss"_s), date, NtpLine::Corrected(now.time(), offsetMs).toString(u"hh:mm:ss"_s));
    return true;
}
