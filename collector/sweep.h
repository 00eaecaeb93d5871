#pragma once

#include <QDateTime>
#include <QString>

/// The sweep that is open, or was the last one.
struct Sweep {
    enum class Kind { Query, Time };

    // With their quotes they make every statement fail until the first sweep gives them a value: no row without a
    // sweep.
    QString sweepDate = QStringLiteral("'now'"); ///< "yyyy-MM-dd"
    QString sweepTime = QStringLiteral("'now'"); ///< "hh:mm:ss" of the last query sweep

    bool open = false; ///< its silent meters are asked again, until it is closed
    qint8 repeatCount = 0; ///< the passes that asked them again

    // Wanted or running. Both are set while one kind waits for the other.
    bool querySweepActive = false;
    bool timeSweepActive = false;

    /// As what an open sweep is checked and closed. A sweep that was interrupted, or that ended with nobody to ask, is
    /// checked as the other kind.
    [[nodiscard]] Kind CurrentKind() const { return timeSweepActive ? Kind::Time : Kind::Query; }

    /// Whether rows can be stored under it.
    [[nodiscard]] bool HasStamp() const { return !sweepDate.startsWith(u'\'') && !sweepTime.startsWith(u'\''); }

    /// Dated `now`; the time stays that of the last query sweep.
    void Open(const QDateTime& now)
    {
        sweepDate = now.toString(QStringLiteral("yyyy-MM-dd"));
        open = true;
        repeatCount = 0;
    }
};
