#include "recording.h"

#include <QFile>

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

QByteArray FormatTraffic(const RecordedWrite& write)
{
    const bool daemon = write.speaker == RecordedWrite::Speaker::Daemon;
    return write.time.toString(TimeFormat).toLatin1() + (daemon ? " daemon " : " modem ") + Escape(write.bytes);
}

std::optional<RecordedWrite> ParseTraffic(const QByteArray& text)
{
    const auto time = QDateTime::fromString(QString::fromLatin1(text.left(TimeSize)), TimeFormat);
    const QByteArray rest = text.mid(TimeSize);
    const bool daemon = rest.startsWith(" daemon ");
    if (!time.isValid() || (!daemon && !rest.startsWith(" modem ")))
        return std::nullopt;
    const std::optional<QByteArray> bytes = Unescape(rest.mid(rest.indexOf(' ', 1) + 1));
    if (!bytes)
        return std::nullopt;
    return RecordedWrite{time, daemon ? RecordedWrite::Speaker::Daemon : RecordedWrite::Speaker::Modem, *bytes};
}

std::optional<QList<RecordedWrite>> ReadTraffic(const QString& path, QString& error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = u"Cannot read the recording %1: %2"_s.arg(path, file.errorString());
        return std::nullopt;
    }
    QList<RecordedWrite> writes;
    for (int number = 1; !file.atEnd(); ++number) {
        QByteArray text = file.readLine();
        while (text.endsWith('\n') || text.endsWith('\r'))
            text.chop(1);
        if (text.isEmpty() || text.startsWith('#'))
            continue;
        const std::optional<RecordedWrite> write = ParseTraffic(text);
        if (!write) {
            error = u"%1, line %2 is not \"TIME daemon|modem BYTES\": %3"_s.arg(path).arg(number).arg(
                QString::fromUtf8(text.left(80)));
            return std::nullopt;
        }
        writes.append(*write);
    }
    return writes;
}
