#include "nodecommands.h"

#include "nodeframe.h"

#include <QtEndian>

QByteArray NodeCommands::ToMeter(const QByteArray& message)
{
    return '\x04' + message;
}

QByteArray NodeCommands::CollectorAddress(const QByteArray& uin)
{
    return "\xC0\x05" + uin + '\xC1';
}

QByteArray NodeCommands::KiNumber(const QByteArray& text)
{
    return "\xC0\x06" + text + '\xC1';
}

QByteArray NodeCommands::MeterNumber(qint32 number)
{
    QByteArray payload(5, '\x07');
    qToLittleEndian(number, payload.data() + 1);
    return NodeFrame::ToC0C1(payload);
}

QByteArray NodeCommands::SetClock(const QByteArray& characters)
{
    return "\xC0\x08" + characters + '\xC1';
}
