#pragma once

#include "fleetcentre.h"

#include <QDate>

/// The months of the centre's two tables that grow; each month of each is a partition.
class FleetMonths final {
public:
    explicit FleetMonths(FleetCentre& centre_) : centre(centre_) { }

    /// Makes those from the month of `first` to the month of `last` that are not there yet, and lets the centre take
    /// rows from `first` on. The new months' first days; none when the centre failed, and then nothing was made.
    [[nodiscard]] std::optional<QList<QDate>> Make(QDate first, QDate last);

    /// The first days of the months before `first` that are there, also of those that an interrupted Drop() left.
    [[nodiscard]] std::optional<QList<QDate>> Before(QDate first);

    /// Drops them, one after the other, while controllers deliver; rows before `first` are not wanted from then on.
    /// What was dropped before a failure stays dropped.
    [[nodiscard]] bool Drop(QDate first);

    /// The last month up to which there is no gap, from the month of `day` on. Invalid when not even that is there.
    /// None when the centre failed.
    [[nodiscard]] std::optional<QDate> ReachesTo(QDate day);

private:
    struct Partition {
        QString name;
        QString table;
        QDate month;
        bool isAttached = false;
        bool isLeaving = false; ///< an interrupted Drop() began with it
    };
    [[nodiscard]] std::optional<QList<Partition>> All();
    [[nodiscard]] bool MakeOne(const QString& table, QDate month);
    [[nodiscard]] bool DropOne(const Partition& partition);

    FleetCentre& centre;
};
