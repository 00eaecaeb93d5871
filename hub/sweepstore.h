#pragma once

#include "limitedlog.h"
#include "necessity.h"
#include "sweepmessage.h"

#include <QDate>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>

class QTimer;

/// Keeps the sweeps of all controllers as files: each its own directory, the newest days. What cannot be written waits,
/// within bounds, and is tried again.
class SweepStore final : public QObject {
    Q_OBJECT

public:
    enum class Taken : quint8 {
        Written,
        Waits, ///< it cannot be written now
        Empty, ///< it has no records: the daemon's database was away. No file is made, one of that name stays
        Refused, ///< its name is none that a daemon gives
    };

    /// Of each controller the files of the newest `keepDays` days stay.
    SweepStore(QString directory, int keepDays, QObject* parent = nullptr);

    /// `controller` is a name that can be a directory's.
    Taken Take(const QString& controller, const SweepMessage& message);

    /// Tries once more what waits: also before the process ends.
    void WriteWaiting();

    [[nodiscard]] qsizetype Waits() const { return waiting.size(); }

private:
    struct Waiting {
        QString controller;
        SweepMessage message;
    };

    [[nodiscard]] bool Write(const Waiting& sweep);
    void DropWhatIsTooMuch();
    void Prune(const QString& controller, QDate day);

    const QString directory;
    const int keepDays;
    QList<Waiting> waiting;
    QTimer* const again;
    QHash<QString, QDate> newestDay; ///< of each controller
    QHash<QString, Necessity> writing; ///< of each controller
    LimitedLog refusals{10}; // a period is an hour
};
