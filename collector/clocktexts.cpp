#include "clocktexts.h"

#include "ce301.h"
#include "ce301messages.h"
#include "set3.h"

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
    return "\x04\x01" + covered + static_cast<char>(TCounter_CE301::GetCRC(covered));
}

QByteArray ClockTexts::TimeQuery(const QString& model, quint32 number)
{
    if (model == "SET3"_L1)
        return TCounter_SET3::CreateQuery(0x10, number);
    if (model == "SET1"_L1)
        return "\x04\x50"_ba;
    if (model == "CE301"_L1)
        return '\x04' + CE301Messages::ReadTime.toByteArray();
    return {};
}

QDateTime ClockTexts::FromBcd(QByteArrayView bytes)
{
    Q_ASSERT(bytes.size() == 7);
    QString text;
    for (const qsizetype at : {0, 1, 2, 4, 5, 6}) {
        const auto byte = static_cast<quint8>(bytes[at]);
        text += QLatin1Char(static_cast<char>('0' | byte >> 4));
        text += QLatin1Char(static_cast<char>('0' | (byte & 0x0F)));
    }
    const QDateTime local = QDateTime::fromString(text.insert(10, "20"_L1), u"ssmmhhddMMyyyy"_s);
    return {local.date(), local.time(), Qt::UTC};
}
