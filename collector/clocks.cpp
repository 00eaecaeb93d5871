// The meters' clocks: set on schedule, and once a day compared by a row of the substation meter that tells how far the
// system's own clock was off.

#include "clock.h"
#include "clocktexts.h"
#include "collector.h"
#include "delay.h"
#include "log.h"
#include "maindatabase.h"
#include "ntpline.h"
#include "statements.h"

#include <QProcess>

using namespace Qt::StringLiterals;
using MainBase::ColumnOf;
using MainBase::Execute;
using MainBase::InLiteral;

namespace {

bool AnyCE301Registered()
{
    QSqlQuery meter = Execute(Statements::NumbersAndModels);
    while (meter.next())
        if (meter.value(1).toString() == "CE301"_L1)
            return true;
    return false;
}

/// False when `process` has not finished after 30 s, or could not be started.
bool WaitForFinished(QProcess& process)
{
    constexpr int LongestWaitMs = 30000;
    constexpr int LookMs = 10;
    constexpr int PauseMs = 240; // spent in Delay(), which notices that the end of this process was requested
    for (int waitedMs = 0; waitedMs < LongestWaitMs; waitedMs += LookMs + PauseMs) {
        if (process.waitForFinished(LookMs))
            return true;
        if (process.error() == QProcess::FailedToStart)
            return false;
        Delay(PauseMs);
    }
    return false;
}

/// The first line that contains `server`. Waits forever when there is none: the time daemon lists its server, always.
QByteArray LineOf(const QString& server, QProcess& listing)
{
    constexpr unsigned int BetweenLooksMs = 1000;
    const QByteArray address = server.toUtf8();
    bool missed = false;
    for (;;) {
        QByteArray line = listing.readLine();
        if (line.contains(address))
            return line;
        if (!line.isEmpty())
            continue;
        if (!missed)
            Log(TCollector::tr("ntpq does not list the NTP server %1. Polling stands still").arg(server));
        missed = true;
        Delay(BetweenLooksMs);
    }
}

} // namespace

/// One CE301 in the register, and every node is told the time in that model's way.
void TCollector::SetMeterClocks()
{
    if (AnyCE301Registered()) {
        SetTimeCE_301();
        return;
    }
    const QByteArray characters = ClockTexts::SetCharacters(CurrentDateTime(), CurrentDateTime().date().dayOfWeek());
    LogText(tr("Time sync: "));
    emit SendBroadcastMessage("\xC0\x08" + characters + '\xC1');
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
    if (MainBase::FirstValueOf(Execute(Statements::ClockReadingCountSince, uin, sweepDate)).toInt() > 0)
        return true;

    QProcess listing;
    listing.start(u"ntpq"_s, {u"-pn"_s}, QIODevice::ReadWrite);
    if (!WaitForFinished(listing)) {
        Log(tr("ntpq -pn did not finish: %1. Polling stays stopped").arg(listing.errorString()));
        return false;
    }
    const float offsetMs = NtpLine::Offset(LineOf(vars.NtpServer, listing));
    const QDateTime now = CurrentDateTime();
    const QString date = now.toString(u"yyyy-MM-dd"_s);
    AddClockReading(
        uin, date, now.toString(u"hh:mm:ss"_s), date, NtpLine::Corrected(now.time(), offsetMs).toString(u"hh:mm:ss"_s));
    return true;
}

void TCollector::AddClockReading(const QString& uinLiteral, const QString& dateShown, const QString& timeShown,
    const QString& date, const QString& time)
{
    MainBase::Insert(
        MainBase::Filled(Statements::InsertClockReading, uinLiteral, dateShown, timeShown, date, time), [&] {
            const QVariant rows = MainBase::FirstValueOf(Execute(Statements::ClockReadingCountSince, uinLiteral, date));
            return !rows.isValid() || rows.toInt() > 0;
        });
}
