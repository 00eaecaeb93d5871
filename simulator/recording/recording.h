#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

/// One write on a line, as a line of text that a person can read:
///
///     2014-03-04T08:29:30.123 daemon at+sn\r\n
///     2014-03-04T08:29:30.190 modem \r\nFFD:000D6F00001733EB\r\n
///
/// Local time, who wrote, and the bytes: "\r", "\n", "\\", other bytes outside the printable ASCII characters as
/// "\xHH", a blank at the end as "\x20".
struct RecordedWrite {
    enum class Speaker { Daemon, Modem };

    QDateTime time;
    Speaker speaker;
    QByteArray bytes;
};

[[nodiscard]] QByteArray FormatTraffic(const RecordedWrite& write);

/// None for a line that is not of this form.
[[nodiscard]] std::optional<RecordedWrite> ParseTraffic(const QByteArray& text);

/// Reads a whole file. Empty lines and lines that begin with "#" are skipped. On failure `error` says where and why.
[[nodiscard]] std::optional<QList<RecordedWrite>> ReadTraffic(const QString& path, QString& error);
