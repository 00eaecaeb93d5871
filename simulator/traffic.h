#pragma once

#include "linepeer.h"

#include <QDateTime>
#include <QList>
#include <QString>

/// One write on a line, as a line of text that a person can read:
///
///     2014-03-04T08:29:30.123 daemon at+sn\r\n
///     2014-03-04T08:29:30.190 modem \r\nFFD:000D6F00001733EB\r\n
///
/// Local time, who wrote, and the bytes: "\r", "\n", "\\", other bytes outside the printable ASCII characters as
/// "\xHH", a blank at the end as "\x20".
struct TrafficLine {
    enum class Speaker { Daemon, Modem };

    QDateTime time;
    Speaker speaker;
    QByteArray bytes;
};

[[nodiscard]] QByteArray FormatTraffic(const TrafficLine& line);

/// None for a line that is not of this form.
[[nodiscard]] std::optional<TrafficLine> ParseTraffic(const QByteArray& text);

/// Reads a whole file. Empty lines and lines that begin with "#" are skipped. On failure `error` says where and why.
[[nodiscard]] std::optional<QList<TrafficLine>> ReadTraffic(const QString& path, QString& error);

/// Plays the modem's part of a recording with its timing; what the daemon sends changes nothing. The clock starts with
/// the daemon's first byte; at once, if the recording begins with the modem.
class Replay final : public LinePeer {
public:
    explicit Replay(const QList<TrafficLine>& recording);

    void Receive(const QByteArray& bytes, Moment now) override;
    [[nodiscard]] std::optional<Moment> NextDue() const override;
    [[nodiscard]] QByteArray Take(Moment now) override;

    [[nodiscard]] qsizetype Played() const { return played; }
    [[nodiscard]] qsizetype Size() const { return writes.size(); }

private:
    struct Write {
        Moment offset;
        QByteArray bytes;
    };

    QList<Write> writes;
    qsizetype played = 0;
    std::optional<Moment> begin;
};
