#pragma once

#include <QByteArray>

#include <chrono>
#include <optional>

/// Time since the simulation began.
using Moment = std::chrono::microseconds;

/// The far end of a serial line. It owns no port and reads no clock: the caller passes the time, which never goes back.
class LinePeer {
public:
    LinePeer() = default;
    virtual ~LinePeer() = default;
    LinePeer(const LinePeer&) = delete;
    LinePeer& operator=(const LinePeer&) = delete;

    /// Bytes that the daemon has written.
    virtual void Receive(const QByteArray& bytes, Moment now) = 0;

    /// When Take() must be called next; none: not before the next Receive().
    [[nodiscard]] virtual std::optional<Moment> NextDue() const = 0;

    /// Does what is due by `now` and returns the next piece to write to the daemon, empty when there is none yet.
    [[nodiscard]] virtual QByteArray Take(Moment now) = 0;
};
