#include "busmessages.h"

#include <QDataStream>
#include <QIODevice>
#include <QtEndian>

using namespace Qt::StringLiterals;

namespace {

/// The three items that every message has.
QByteArray Message(const QByteArray& word, const QString& text, const QByteArray& bytes)
{
    QByteArray message;
    QDataStream stream(&message, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_4_5);
    stream << word << text << bytes;
    return message;
}

template <class Number>
QByteArray Packed(Number number)
{
    QByteArray bytes(sizeof(Number), Qt::Uninitialized);
    qToLittleEndian(number, bytes.data());
    return bytes;
}

QByteArray Packed(const QString& text, qsizetype size)
{
    return text.toLatin1().leftJustified(size, '\0', true);
}

} // namespace

QByteArray BusMessages::TemporaryDatabase(const QByteArray& word, const QString& fileName, const QByteArray& records)
{
    return Message(word, fileName, records);
}

QString BusMessages::FileName(const QString& date, const QString& time)
{
    return u"%1-%2.db"_s.arg(date, time).replace(u':', u'-');
}

QByteArray BusMessages::ReadingRecord(
    qint32 globalId, const Energy& energy, const QString& date, const QString& time, qint16 status)
{
    return Packed(globalId) + Packed(energy.total) + Packed(energy.t1) + Packed(energy.t2) + Packed(energy.t3)
        + Packed(energy.t4) + Packed(date, 10) + Packed(time, 8) + Packed(status);
}

QByteArray BusMessages::ClockRecord(qint32 globalId, const QString& meterClock, const QString& collectorClock)
{
    return Packed(globalId) + Packed(meterClock, 19) + Packed(collectorClock, 19) + Packed(qint16{0});
}

QByteArray BusMessages::Error(qint32 globalId, const QDateTime& time, int code)
{
    const QString meter = QString::number(globalId);
    const QString stamp = time.toString(u"yyyy-MM-dd hh:mm:ss"_s);
    const QString dashed = time.toString(u"yyyy-MM-dd-hh-mm-ss"_s);
    return Message("error"_ba, u"Error-%1-%2"_s.arg(dashed, meter),
        u"%1#%2#ERROR:%3#\n"_s.arg(meter, stamp, QString::number(code)).toUtf8());
}
