#pragma once

#include "forwardsettings.h"

#include <QJsonObject>
#include <QStringList>

/// How far the delivery is, told from this machine alone: the centre is not asked.
class StatusReport final {
public:
    explicit StatusReport(const ForwardSettings& settings);

    [[nodiscard]] QStringList Lines() const;
    [[nodiscard]] QJsonObject Json() const;

    /// A forwarder runs, and its last pass delivered everything.
    [[nodiscard]] bool IsWell() const { return isRunning && problem.isEmpty(); }

private:
    struct Table {
        qint64 delivered = 0; ///< up to the row of that number
        qint64 waiting = -1; ///< rows behind it; -1: unknown
        qint64 lagSeconds = 0; ///< since the sweep of the first of them
    };

    const ForwardSettings& settings;
    bool isRunning = false;
    QString problem;
    QString registerRemark;
    qint64 dead = 0;
    std::array<Table, 2> tables;
};
