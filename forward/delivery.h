#pragma once

#include "centrelink.h"
#include "sourcetable.h"

#include <QUuid>

#include <functional>
#include <span>

/// Delivers the rows of one source, each exactly once: rows and the mark behind the last of them are stored together or
/// not at all. A row that the centre refuses becomes a dead letter, and the next ones are delivered.
class Delivery final {
public:
    /// What is told of as it happens; both come after the centre has stored it.
    struct Told {
        std::function<void(std::size_t table, const QList<SourceRow>& rows)> delivered;
        std::function<void(std::size_t table, const SourceRow& row, const QString& reason)> dead;
    };

    Delivery(CentreLink& centre, QUuid source, const Marks& marks, Told told);

    /// The rows behind the mark of `table`, in order. Empty, or why not all of them were delivered; the mark stands
    /// behind those that were. The connection may be broken then.
    [[nodiscard]] QString Deliver(std::size_t table, const QList<SourceRow>& rows);

    [[nodiscard]] const Marks& Delivered() const { return marks; }
    [[nodiscard]] const QUuid& Source() const { return source; }

private:
    using Rows = std::span<const SourceRow>;

    [[nodiscard]] QString DeliverSound(std::size_t table, Rows rows);
    [[nodiscard]] CentreLink::Outcome Together(std::size_t table, Rows rows);
    [[nodiscard]] QString Alone(std::size_t table, const SourceRow& row, const CentreLink::Outcome& refusal);
    [[nodiscard]] QString MakeDead(
        std::size_t table, const SourceRow& row, const QByteArray& sqlState, const QString& why);
    [[nodiscard]] CentreLink::Outcome MoveMark(std::size_t table, const SourceRow& last);
    [[nodiscard]] CentreLink::Outcome Commit(std::size_t table, const SourceRow& last);

    CentreLink& centre;
    const QUuid source;
    Marks marks;
    const Told told;
};
