#include "ntpline.h"

#include <QString>
#include <QStringList>

#include <cmath>

float NtpLine::Offset(const QByteArray& line)
{
    constexpr qsizetype OffsetColumn = 8;
    const QStringList columns = QString::fromUtf8(line).split(u' ', Qt::SkipEmptyParts);
    return columns.value(OffsetColumn).toFloat();
}

QTime NtpLine::Corrected(QTime time, float offsetMs)
{
    constexpr double DayMs = 24 * 60 * 60 * 1000;
    if (!std::isfinite(offsetMs) || offsetMs < 1000.0F)
        return time;
    return time.addMSecs(static_cast<int>(std::fmod(offsetMs, DayMs)));
}
