#include "sweepmessage.h"

#include <QRegularExpression>
#include <QtEndian>

#include <algorithm>
#include <charconv>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype RecordSize = 44;

/// Takes a stream's fields from its front. A field that is cut, or announces more than there is, is empty, and so are
/// those behind it.
class Fields final {
public:
    explicit Fields(QByteArrayView bytes) : rest(bytes) { }

    /// A byte array: int32 length, big-endian, and that many bytes; a negative length stands for none.
    QByteArrayView Array()
    {
        const auto size = static_cast<qsizetype>(Big32());
        if (size > rest.size())
            rest = {};
        return Take(std::clamp<qsizetype>(size, 0, rest.size()));
    }

    /// A string: its length in bytes, and UTF-16 big-endian.
    QString Text()
    {
        const QByteArrayView bytes = Array();
        QString text(bytes.size() / 2, Qt::Uninitialized);
        for (qsizetype i = 0; i < text.size(); ++i)
            text[i] = QChar(qFromBigEndian<quint16>(bytes.data() + 2 * i));
        return text;
    }

private:
    qint32 Big32()
    {
        if (rest.size() < 4)
            return 0;
        return qFromBigEndian<qint32>(Take(4).data());
    }

    QByteArrayView Take(qsizetype size)
    {
        const QByteArrayView taken = rest.first(size);
        rest = rest.sliced(size);
        return taken;
    }

    QByteArrayView rest;
};

template <typename Number>
Number LittleAt(QByteArrayView record, qsizetype offset)
{
    return qFromLittleEndian<Number>(record.data() + offset);
}

/// A text that is shorter than its field ends at the first zero byte.
QString TextAt(QByteArrayView record, qsizetype offset, qsizetype size)
{
    const QByteArrayView field = record.sliced(offset, size);
    const qsizetype end = field.indexOf('\0');
    return QString::fromLatin1(end < 0 ? field : field.first(end));
}

SweepReading Reading(QByteArrayView record)
{
    SweepReading reading;
    reading.globalId = LittleAt<qint32>(record, 0);
    for (qsizetype i = 0; i < 5; ++i)
        reading.energyKWh[static_cast<size_t>(i)] = LittleAt<float>(record, 4 + 4 * i);
    reading.date = TextAt(record, 24, 10);
    reading.time = TextAt(record, 34, 8);
    reading.status = LittleAt<qint16>(record, 42);
    return reading;
}

SweepClock Clock(QByteArrayView record)
{
    return {LittleAt<qint32>(record, 0), TextAt(record, 4, 19), TextAt(record, 23, 19)};
}

template <typename Row>
QList<Row> Rows(QByteArrayView records, Row (*read)(QByteArrayView))
{
    QList<Row> rows;
    rows.reserve(records.size() / RecordSize);
    for (; records.size() >= RecordSize; records = records.sliced(RecordSize))
        rows.append(read(records.first(RecordSize)));
    return rows;
}

} // namespace

QDateTime SweepReading::Stamp() const
{
    return QDateTime::fromString(date + u' ' + time, u"yyyy-MM-dd hh:mm:ss"_s);
}

double DecimalOf(float value)
{
    std::array<char, 64> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    double decimal = 0;
    std::from_chars(text.data(), end, decimal);
    return decimal;
}

std::optional<SweepMessage> DecodeSweepMessage(const QByteArray& data)
{
    Fields fields(data);
    const QByteArrayView word = fields.Array();
    if (word != "tempdb" && word != "tempdb_t")
        return std::nullopt;

    SweepMessage message;
    message.fileName = fields.Text();
    const QByteArrayView records = fields.Array();
    message.bytesLeft = records.size() % RecordSize;
    if (word == "tempdb") {
        message.readings = Rows(records, Reading);
    } else {
        message.kind = SweepMessage::Kind::Clocks;
        message.clocks = Rows(records, Clock);
    }
    return message;
}

std::optional<AlarmMessage> DecodeAlarmMessage(const QByteArray& data)
{
    Fields fields(data);
    if (fields.Array() != "error")
        return std::nullopt;
    static_cast<void>(fields.Text()); // a name made of the same stamp
    static const QRegularExpression form(u"^(-?[0-9]{1,10})#([0-9:. -]{19})#ERROR:([0-9]{1,5})#\\n?$"_s);
    const QRegularExpressionMatch found = form.match(QString::fromLatin1(fields.Array()));
    bool isNumber = false;
    const AlarmMessage alarm{found.captured(1).toInt(&isNumber), found.captured(2), found.captured(3).toInt()};
    return isNumber ? std::optional(alarm) : std::nullopt;
}
