#pragma once

#include "fleetcentre.h"

#include <QDateTime>

/// What the centre knows of one controller.
struct FleetMember {
    QString controller;
    bool isRemoved = false; ///< it has no role any more
    int meters = 0; ///< in its register
    QDateTime lastRow; ///< the newest sweep's stamp, by the controller's clock; invalid: no row
    qint64 rowsToday = 0;
    qint64 readingsToday = 0; ///< of these
    QDateTime heard; ///< its forwarder, UTC; invalid: there was none
    qint64 waiting = 0; ///< rows that its forwarder had not delivered then
    qint64 deadLetters = 0;
};

/// All controllers by name; `now` is wall time. None when the centre failed.
[[nodiscard]] std::optional<QList<FleetMember>> FleetMembers(FleetCentre& centre, const QDateTime& now);

[[nodiscard]] QString FleetAsText(const QList<FleetMember>& members, const QDateTime& now);
[[nodiscard]] QString FleetAsJson(const QList<FleetMember>& members, const QDateTime& now);
