#pragma once

#include <QString>

/// Lines of the log that strangers can cause as often as they like: so many are written in a period, the others are
/// counted and told in one line when the period ends.
class LimitedLog final {
public:
    explicit LimitedLog(int mostLines) : most(mostLines) { }

    /// As Log(), or counts.
    void Line(const QString& text);

    /// Begins the next period; how long one is, is the owner's business. `summary` has %1 in place of how many lines
    /// were not written.
    void PeriodEnds(const QString& summary);

private:
    const int most;
    int written = 0;
    qint64 keptBack = 0;
};
