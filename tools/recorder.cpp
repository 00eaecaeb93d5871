#include "recorder.h"

#include "recording.h"
#include "texts.h"

using namespace Qt::StringLiterals;

Recorder::Recorder(const QString& path) : file(path) { }

bool Recorder::Begin()
{
    return file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered);
}

bool Recorder::Take(const QJsonObject& traffic)
{
    if (traffic[u"port"_s] != "modem"_L1)
        return true;
    // The wall time of the controller, as it is told; in UTC none of its hours is left out.
    constexpr qsizetype TimeSize = 23;
    auto at = QDateTime::fromString(traffic[u"at"_s].toString().left(TimeSize), u"yyyy-MM-ddTHH:mm:ss.zzz"_s);
    at.setTimeSpec(Qt::UTC);
    const QByteArray bytes = QByteArray::fromHex(traffic[u"bytes"_s].toString().toLatin1());
    const QByteArray line = FormatTraffic({at, RecordedWrite::Speaker::Modem, bytes}) + '\n';
    return at.isValid() && file.write(line) == line.size();
}

QString Recorder::Problem() const
{
    return Texts::tr("%1 cannot be written: %2").arg(file.fileName(), file.errorString());
}
