#pragma once

#include <QDateTime>
#include <QString>

/// Under which a sweep's rows are stored.
struct SweepStamp {
    QString date; ///< "yyyy-MM-dd"
    QString time; ///< "hh:mm:ss"

    /// False before the first sweep: with their quotes the two then make every statement fail.
    [[nodiscard]] bool IsValid() const { return !date.startsWith(u'\'') && !time.startsWith(u'\''); }
};

/// The sweep that is open, or was the last one.
struct Sweep {
    enum class Kind { Query, Time };

    // Until the first sweep both are the word now with single quotes around it. A statement in which that is pasted
    // fails, so no row is stored without a sweep.
    QString sweepDate = QStringLiteral("'now'"); ///< "yyyy-MM-dd"
    QString sweepTime = QStringLiteral("'now'"); ///< "hh:mm:ss" of the last query sweep

    bool open = false; ///< its silent meters are asked again, until it is closed
    qint8 repeatCount = 0; ///< the passes that asked them again

    // Wanted or running. Both are set while one kind waits for the other.
    bool querySweepActive = false;
    bool timeSweepActive = false;

    /// The kind as which an open sweep is checked and closed. From the tick at which a time sweep is due an open query
    /// sweep counts as a time sweep. A time sweep that interrupted another one, or that had nobody to ask, counts as a
    /// query sweep.
    [[nodiscard]] Kind CurrentKind() const { return timeSweepActive ? Kind::Time : Kind::Query; }

    [[nodiscard]] SweepStamp Stamp() const { return {sweepDate, sweepTime}; }

    /// Opens a sweep with the date of `now`. sweepTime stays that of the last query sweep.
    void Open(const QDateTime& now)
    {
        sweepDate = now.toString(QStringLiteral("yyyy-MM-dd"));
        open = true;
        repeatCount = 0;
    }
};
