#pragma once

#include "sourcetable.h"

#include <QString>

/// How far the delivery of a source file is, told from this machine alone: the centre is not asked.
struct DeliveryProgress {
    struct Table {
        qint64 delivered = 0; ///< up to the row of that number
        qint64 waiting = -1; ///< rows behind it; -1: unknown
        qint64 lagSeconds = 0; ///< since the sweep of the first of them
    };

    bool isRunning = false;
    QString problem; ///< of the last pass, or why the file cannot be read; empty: none
    QString registerRemark;
    qint64 deadLetters = 0;
    std::array<Table, SourceTables.size()> tables;

    /// A forwarder runs, and its last pass delivered everything.
    [[nodiscard]] bool IsWell() const { return isRunning && problem.isEmpty(); }
};

/// Of the file `source`. Nothing is made or changed.
[[nodiscard]] DeliveryProgress ReadDeliveryProgress(const QString& source);

/// Whether a forwarder runs for `source`, or ever delivered any of it.
[[nodiscard]] bool HasForwarder(const QString& source);
