#include "clocktexts.h"

#include "ce301.h"
#include "nodecommands.h"

using namespace Qt::StringLiterals;

QByteArray ClockTexts::SetCharacters(const QDateTime& time, int dayOfWeek)
{
    constexpr qsizetype DayOfWeekAt = 7;
    QByteArray characters = time.toString(u"ssmmhh00ddMMyyyy"_s).toLatin1();
    characters[DayOfWeekAt] = static_cast<char>('0' + dayOfWeek);
    return characters;
}

QByteArray ClockTexts::SetTimeCE301(QTime time)
{
    const QByteArray covered = "W1\x02TIME_(" + time.toString(u"hh:mm:ss"_s).toLatin1() + ")\x03";
    return NodeCommands::ToMeter("\x01" + covered + static_cast<char>(TCounter_CE301::GetCRC(covered)));
}
