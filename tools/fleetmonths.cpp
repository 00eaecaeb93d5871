#include "fleetmonths.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr std::array<QLatin1StringView, 2> Tables{"readings"_L1, "clock_readings"_L1};

// The table stays when it was taken out of its parent and could not be dropped any more.
const auto Partitions = u"SELECT c.relname, i.inhrelid IS NOT NULL, coalesce(i.inhdetachpending, false) "
                        "FROM pg_class c LEFT JOIN pg_inherits i ON i.inhrelid = c.oid "
                        "WHERE c.relnamespace = 'fleet'::regnamespace AND c.relkind = 'r' "
                        "AND c.relname ~ '^(clock_)?readings_[0-9]{4}_[0-9]{2}$' ORDER BY c.relname"_s;

QDate FirstOfMonth(QDate day)
{
    return {day.year(), day.month(), 1};
}

QString DateText(QDate day)
{
    return day.toString(u"yyyy-MM-dd"_s);
}

} // namespace

std::optional<QList<FleetMonths::Partition>> FleetMonths::All()
{
    const auto rows = centre.Rows(Partitions);
    if (!rows)
        return std::nullopt;
    QList<Partition> all;
    for (const QVariantList& row : *rows) {
        const QString name = row[0].toString();
        const QDate month = QDate::fromString(name.right(7) + u"_01"_s, u"yyyy_MM_dd"_s);
        all.append({name, name.chopped(8), month, row[1].toBool(), row[2].toBool()});
    }
    return all;
}

// Attached and not made in its place: for that all who deliver would have to wait.
bool FleetMonths::MakeOne(const QString& table, QDate month)
{
    const QString name = u"fleet.%1_%2"_s.arg(table, month.toString(u"yyyy_MM"_s));
    return centre.Run(u"CREATE TABLE %1 (LIKE fleet.%2 INCLUDING DEFAULTS INCLUDING CONSTRAINTS)"_s.arg(name, table))
        && centre.Run(u"ALTER TABLE fleet.%1 ATTACH PARTITION %2 FOR VALUES FROM ('%3') TO ('%4')"_s.arg(
            table, name, DateText(month), DateText(month.addMonths(1))));
}

std::optional<QList<QDate>> FleetMonths::Make(QDate first, QDate last)
{
    QList<QDate> made;
    const bool isDone = centre.InTransaction([&] {
        // One at a time makes months.
        if (!centre.Run(u"SELECT kept_since FROM fleet.info FOR UPDATE"_s))
            return false;
        const auto all = All();
        if (!all)
            return false;
        for (QDate month = FirstOfMonth(first); month <= last; month = month.addMonths(1))
            for (const QLatin1StringView table : Tables) {
                const bool isThere = std::any_of(all->begin(), all->end(), [&](const Partition& known) {
                    return known.table == table && known.month == month && known.isAttached;
                });
                if (isThere)
                    continue;
                if (!MakeOne(table, month))
                    return false;
                if (!made.contains(month))
                    made.append(month);
            }
        return centre.Run(
            u"UPDATE fleet.info SET kept_since = least(kept_since, '%1')"_s.arg(DateText(FirstOfMonth(first))));
    });
    return isDone ? std::optional(made) : std::nullopt;
}

std::optional<QList<QDate>> FleetMonths::Before(QDate first)
{
    const auto all = All();
    if (!all)
        return std::nullopt;
    QList<QDate> months;
    for (const Partition& partition : *all)
        if (partition.month < first && !months.contains(partition.month))
            months.append(partition.month);
    std::sort(months.begin(), months.end());
    return months;
}

bool FleetMonths::DropOne(const Partition& partition)
{
    const QString detach = u"ALTER TABLE fleet.%1 DETACH PARTITION fleet.%2 %3"_s.arg(
        partition.table, partition.name, partition.isLeaving ? u"FINALIZE"_s : u"CONCURRENTLY"_s);
    return (!partition.isAttached || centre.Run(detach)) && centre.Run(u"DROP TABLE fleet."_s + partition.name);
}

bool FleetMonths::Drop(QDate first)
{
    // Said first: whoever still has such a row must not wait for a month that goes.
    if (!centre.Run(u"UPDATE fleet.info SET kept_since = greatest(kept_since, '%1')"_s.arg(DateText(first)))
        || !centre.Run(u"DELETE FROM fleet.dead_letters WHERE at < '%1'"_s.arg(DateText(first))))
        return false;
    const auto all = All();
    return all && std::all_of(all->begin(), all->end(), [&](const Partition& partition) {
        return partition.month >= first || DropOne(partition);
    });
}

std::optional<QDate> FleetMonths::ReachesTo(QDate day)
{
    const auto all = All();
    if (!all)
        return std::nullopt;
    const auto isThere = [&](QDate month) {
        return std::count_if(all->begin(), all->end(), [&](const Partition& known) {
            return known.month == month && known.isAttached;
        }) == static_cast<qsizetype>(Tables.size());
    };
    QDate reached;
    for (QDate month = FirstOfMonth(day); isThere(month); month = month.addMonths(1))
        reached = month;
    return reached;
}
