#include "bcdclock.h"

#include <QString>

using namespace Qt::StringLiterals;

namespace {

/// Two characters for each byte. A half byte above 9 becomes a character that is no digit.
QString Digits(QByteArrayView bytes)
{
    QString digits;
    for (const char byte : bytes) {
        digits += QLatin1Char(static_cast<char>('0' | static_cast<quint8>(byte) >> 4));
        digits += QLatin1Char(static_cast<char>('0' | (byte & 0x0F)));
    }
    return digits;
}

} // namespace

BcdClock ReadBcdClock(QByteArrayView bytes)
{
    Q_ASSERT(bytes.size() == BcdClock::Size);
    const QDate date = QDate::fromString(Digits(bytes.sliced(4)).insert(4, "20"_L1), u"ddMMyyyy"_s);
    const QTime time = QTime::fromString(Digits(bytes.first(3)), u"ssmmhh"_s);
    if (!date.isValid() || !time.isValid())
        return {};
    return {date, time};
}
