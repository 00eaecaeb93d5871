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

#include <QCoreApplication>
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
    if (vars.field.Has(FieldConduct::Clocks)) {
        SetClocksByModel();
        return;
    }
    if (AnyMeterSetOneByOne()) {
        SetTimeCE_301();
        return;
    }
    const QByteArray characters = ClockTexts::SetCharacters(CurrentDateTime(), CurrentDateTime().date().dayOfWeek());
    LogText(tr("Time sync: "));
    emit SendBroadcastMessage(NodeCommands::SetClock(characters));
}

/// The message to each CE301, one broadcast for all others. The nodes of CE301 meters do not pass that one on.
void TCollector::SetClocksByModel()
{
    const QByteArray characters = ClockTexts::SetCharacters(CurrentDateTime(), CurrentDateTime().date().dayOfWeek());
    LogText(tr("Time sync: "));
    emit SendBroadcastMessage(NodeCommands::SetClock(characters));
    QStringList uins;
    for (const QString& uin : ColumnOf(Execute(Statements::NodeMeters))) {
        const std::optional<Meter> meter = NodeMeter(uin);
        const MeterModel* const model = meter ? FindMeterModel(meter->model) : nullptr;
        if (model && model->clockSetOneByOne)
            uins.append(uin);
    }
    SendClockTo(uins);
}

void TCollector::SetTimeCE_301()
{
    const QStringList uins = ColumnOf(Execute(Statements::NodeMeters));
    SendClockTo(QSet<QString>(uins.begin(), uins.end()).values());
}

void TCollector::SendClockTo(const QStringList& uins)
{
    BatchBegins(tr("clock setting"), uins.size());
    ToEach(uins, PacedRound::Until::Reported, vars.UCAST_to_UCAST_Delay, [this](const QString& uin) {
        if (vars.field.Has(FieldConduct::Clocks))
            QCoreApplication::processEvents();
        SendToNode(uin, ClockTexts::SetTimeCE301(CurrentDateTime().time()));
        return true;
    });
}

/// Once a day. False when the time daemon's listing did not come.
bool TCollector::StoreReferenceClock()
{
    const QStringList uins = ColumnOf(Execute(Statements::SubstationUins));
    const QString uin = InLiteral(uins.isEmpty() ? QString() : uins.last());
    if (MainBase::FirstValueOf(Execute(Statements::ClockReadingCountSince, uin, sweep.sweepDate)).toInt() > 0)
        return true;

    if (vars.field.Has(FieldConduct::Ntp))
        return StoreReferenceClockIfListed(uin);
    NtpQuery listing;
    if (!listing.Finish()) {
        Log(tr("ntpq -pn did not finish: %1. Polling stays stopped").arg(listing.ErrorString()), Severity::Error);
        return false;
    }
    AddReferenceClock(uin, listing.LineOf(vars.NtpServer));
    return true;
}

/// The sweep goes on in any case, and the next time sweep asks again.
bool TCollector::StoreReferenceClockIfListed(const QString& uin)
{
    const auto goOnWithout = [](const QString& why) {
        Log(tr("%1. No reference clock in this time sweep").arg(why), Severity::Warning);
        return true;
    };
    if (!NtpQuery::IsInstalled())
        return goOnWithout(tr("ntpq is not installed"));
    NtpQuery listing;
    if (!listing.Finish())
        return goOnWithout(tr("ntpq -pn did not finish: %1").arg(listing.ErrorString()));
    const QByteArray line = listing.FindLine(vars.NtpServer);
    if (line.isNull())
        return goOnWithout(tr("ntpq does not list the NTP server %1").arg(vars.NtpServer));
    AddReferenceClock(uin, line);
    return true;
}

void TCollector::AddReferenceClock(const QString& uin, const QByteArray& line)
{
    const QDateTime now = CurrentDateTime();
    const QString date = now.toString(u"yyyy-MM-dd"_s);
    AddClockReading(uin, date, now.toString(u"hh:mm:ss"_s), date,
        NtpLine::Corrected(now.time(), NtpLine::Offset(line)).toString(u"hh:mm:ss"_s));
}
