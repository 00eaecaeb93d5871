#pragma once

#include <QString>

/// Lines of the log that strangers can cause without end: in each period `mostLines` are written. The others are
/// counted, and one line tells how many when the period ends.
class LimitedLog final {
public:
    explicit LimitedLog(int mostLines) : most(mostLines) { }

    /// As Log(), or counts.
    void Line(const QString& text);

    /// Begins the next period; the caller decides how long one is. `summary` has %1 in place of the number of lines
    /// that were not written.
    void PeriodEnds(const QString& summary);

private:
    const int most;
    int written = 0;
    qint64 keptBack = 0;
};
