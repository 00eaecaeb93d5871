#pragma once

#include <QDateTime>
#include <QList>

#include <functional>

/// The clock and the waits of a test. Delay() moves the clock at once and is recorded.
namespace VirtualTime {

void Reset(const QDateTime& now);
void Advance(qint64 ms);

/// `companion` runs at the end of each wait, until Reset(): what the rest of the world does meanwhile.
void WhileWaiting(std::function<void()> companion);

/// The waits since Reset() in ms, oldest first.
[[nodiscard]] QList<unsigned int> Delays();

} // namespace VirtualTime
