#pragma once

#include <QByteArray>
#include <QList>

/// Cuts the modem's output, taken as its bytes come, into whole messages: ParseModemChunk() keeps nothing from chunk to
/// chunk, and a line that is cut in two would be lost.
class ModemStream final {
public:
    /// `bytes`, what has come by `nowMs` (MonotonicMs()), may be empty. Returns the messages that are complete, in the
    /// order of arrival, each with its line end; together they are the bytes that came. A rest to which nothing was
    /// added for MostHeldMs is returned as it is: the end of that message was lost.
    [[nodiscard]] QList<QByteArray> Take(const QByteArray& bytes, qint64 nowMs);

    static constexpr qint64 MostHeldMs = 1000;
    static constexpr qsizetype MostHeld = 65536; ///< more bytes without a whole message are returned as they are

private:
    QByteArray held;
    qint64 lastByteMs = 0;
};
