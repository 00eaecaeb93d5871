#pragma once

#include "linepeer.h"
#include "recording.h"

#include <QList>

/// Plays the modem's part of a recording with its timing; what the daemon sends changes nothing. The clock starts with
/// the daemon's first byte; at once, if the recording begins with the modem.
class Replay final : public LinePeer {
public:
    explicit Replay(const QList<RecordedWrite>& recording);

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
