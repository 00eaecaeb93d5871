#include "traffic.h"

#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr auto TimeFormat = "yyyy-MM-ddThh:mm:ss.zzz"_L1;
constexpr qsizetype TimeSize = 23;

QByteArray Escape(const QByteArray& bytes)
{
    QByteArray text;
    for (const char byte : bytes) {
        if (byte == '\r')
            text += "\\r";
        else if (byte == '\n')
            text += "\\n";
        else if (byte == '\\')
            text += "\\\\";
        else if (byte >= ' ' && byte <= '~')
            text += byte;
        else
            text += "\\x" + QByteArray(1, byte).toHex();
    }
    if (text.endsWith(' '))
        text.replace(text.size() - 1, 1, "\\x20");
    return text;
}

std::optional<QByteArray> Unescape(const QByteArray& text)
{
    QByteArray bytes;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) != '\\') {
            bytes += text.at(i);
            continue;
        }
        const char kind = ++i < text.size() ? text.at(i) : '\0';
        if (kind == 'r') {
            bytes += '\r';
        } else if (kind == 'n') {
            bytes += '\n';
        } else if (kind == '\\') {
            bytes += '\\';
        } else if (kind == 'x') {
            bool isByte = false;
            const int byte = text.mid(i + 1, 2).toInt(&isByte, 16);
            if (!isByte || i + 2 >= text.size() || byte < 0)
                return std::nullopt;
            bytes += static_cast<char>(byte);
            i += 2;
        } else {
            return std::nullopt;
        }
    }
    return bytes;
}

} // namespace

QByteArray FormatTraffic(const TrafficLine& line)
{
    const bool daemon = line.speaker == TrafficLine::Speaker::Daemon;
    return line.time.toString(TimeFormat).toLatin1() + (daemon ? " daemon " : " modem ") + Escape(line.bytes);
}

std::optional<TrafficLine> ParseTraffic(const QByteArray& text)
{
    const auto time = QDateTime::fromString(QString::fromLatin1(text.left(TimeSize)), TimeFormat);
    const QByteArray rest = text.mid(TimeSize);
    const bool daemon = rest.startsWith(" daemon ");
    if (!time.isValid() || (!daemon && !rest.startsWith(" modem ")))
        return std::nullopt;
    const std::optional<QByteArray> bytes = Unescape(rest.mid(rest.indexOf(' ', 1) + 1));
    if (!bytes)
        return std::nullopt;
    return TrafficLine{time, daemon ? TrafficLine::Speaker::Daemon : TrafficLine::Speaker::Modem, *bytes};
}

std::optional<QList<TrafficLine>> ReadTraffic(const QString& path, QString& error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = u"Cannot read the recording %1: %2"_s.arg(path, file.errorString());
        return std::nullopt;
    }
    QList<TrafficLine> lines;
    for (int number = 1; !file.atEnd(); ++number) {
        QByteArray text = file.readLine();
        while (text.endsWith('\n') || text.endsWith('\r'))
            text.chop(1);
        if (text.isEmpty() || text.startsWith('#'))
            continue;
        const std::optional<TrafficLine> line = ParseTraffic(text);
        if (!line) {
            error = u"%1, line %2 is not \"TIME daemon|modem BYTES\": %3"_s.arg(path).arg(number).arg(
                QString::fromUtf8(text.left(80)));
            return std::nullopt;
        }
        lines.append(*line);
    }
    return lines;
}

Replay::Replay(const QList<TrafficLine>& recording)
{
    for (const TrafficLine& line : recording)
        if (line.speaker == TrafficLine::Speaker::Modem)
            writes.append({std::chrono::milliseconds(recording.first().time.msecsTo(line.time)), line.bytes});
    if (!recording.isEmpty() && recording.first().speaker == TrafficLine::Speaker::Modem)
        begin = Moment(0);
}

void Replay::Receive(const QByteArray&, Moment now)
{
    if (!begin)
        begin = now;
}

std::optional<Moment> Replay::NextDue() const
{
    if (!begin || played == writes.size())
        return std::nullopt;
    return *begin + writes.at(played).offset;
}

QByteArray Replay::Take(Moment now)
{
    const std::optional<Moment> due = NextDue();
    return due && *due <= now ? writes.at(played++).bytes : QByteArray();
}
