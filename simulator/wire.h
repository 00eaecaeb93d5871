#pragma once

#include "linepeer.h"

#include <deque>

/// The sending half of a serial line: no faster than its baud rate, one piece after the other.
class Wire final {
public:
    /// 10 bits a byte. 0 stands for no limit.
    explicit Wire(int baud) : baudRate(baud) { }

    /// Queues one write. The daemon sees it when its last byte is through.
    void Send(const QByteArray& bytes, Moment now);

    /// Keeps the line silent: what is sent from here on starts no earlier than after a pause.
    void Pause(Moment duration) { free += duration; }

    /// When all that was sent is through.
    [[nodiscard]] Moment Through() const { return free; }

    /// The sender goes: what is not through by `now` never comes.
    void Cut(Moment now);

    [[nodiscard]] std::optional<Moment> NextDue() const;

    /// The next write that is through by `now`, or empty.
    [[nodiscard]] QByteArray Take(Moment now);

    /// The time that `size` bytes take.
    [[nodiscard]] Moment Duration(qsizetype size) const;

private:
    struct Write {
        Moment at;
        QByteArray bytes;
    };

    int baudRate;
    Moment free{0};
    std::deque<Write> writes;
};
