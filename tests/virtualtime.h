#pragma once

#include <QDateTime>
#include <QList>

/// The clock and the waits of a test. Delay() moves the clock at once and is recorded.
namespace VirtualTime {

void Reset(const QDateTime& now);
void Advance(qint64 ms);

/// The waits since Reset() in ms, oldest first.
[[nodiscard]] QList<unsigned int> Delays();

} // namespace VirtualTime
