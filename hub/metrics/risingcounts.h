#pragma once

#include <QDate>
#include <QHash>
#include <QMap>
#include <QString>

/// Counts of days that become counters. The ledger counts anew for each day of its window, from which days fall out,
/// and it may count less than before when a meter leaves the register; a counter that falls means to Prometheus that it
/// began anew, and all of it is counted once more. So each day's highest counts are kept here, and added up.
class RisingCounts final {
public:
    struct Counts {
        quint64 expected = 0;
        quint64 received = 0;
    };

    /// What is known of a day now. Days before the first one that was ever taken do not count: they were over when the
    /// hub was started.
    void Take(qint32 globalId, QDate day, const Counts& counts);

    [[nodiscard]] Counts Of(qint32 globalId) const;

    /// Of this many days the counts may still rise; what comes for an older day is dropped.
    static constexpr int OpenDays = 3;

private:
    struct Meter {
        Counts closed;
        QMap<QDate, Counts> open;
    };

    static void Close(Meter& meter, QDate last);

    QDate first;
    QHash<qint32, Meter> meters;
};

/// Events counted by a name that may come from a stranger: of more than `MostNames` names the rest is counted as
/// "other".
class NamedCounts final {
public:
    static constexpr int MostNames = 300;

    void Count(const QString& name);

    [[nodiscard]] const QMap<QString, quint64>& All() const { return counts; }

private:
    QMap<QString, quint64> counts;
};
