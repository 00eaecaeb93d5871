#include "fleetlist.h"

#include "shown.h"
#include "texts.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace {

// Each controller's newest rows are found by the index; a question over all controllers at once would read whole
// months. A file that was emptied or replaced has no rows to wait for any more: what waits is told of the source heard
// last.
const auto Members = uR"(
SELECT c.controller, c.removed IS NOT NULL, meters.number, newest.date_r, newest.time_r::text, today.number,
    today.readings, marks.seen, marks.waiting, dead.number
FROM fleet.controllers c
CROSS JOIN LATERAL (SELECT count(*) AS number FROM fleet.meters m WHERE m.controller = c.controller) meters
LEFT JOIN LATERAL (SELECT date_r, time_r FROM fleet.readings r WHERE r.controller = c.controller
    ORDER BY date_r DESC, time_r DESC LIMIT 1) newest ON true
CROSS JOIN LATERAL (SELECT count(*) AS number, count(*) FILTER (WHERE status = 0) AS readings
    FROM fleet.readings r WHERE r.controller = c.controller AND r.date_r = '%1') today
LEFT JOIN LATERAL (SELECT extract(epoch FROM max(seen_at))::bigint AS seen, sum(greatest(newest_row - last_row, 0)) AS waiting
    FROM fleet.marks m WHERE m.controller = c.controller AND m.source = (SELECT source FROM fleet.marks
        WHERE controller = c.controller AND seen_at IS NOT NULL ORDER BY seen_at DESC LIMIT 1)) marks ON true
CROSS JOIN LATERAL (SELECT count(*) AS number FROM fleet.dead_letters d WHERE d.controller = c.controller) dead
ORDER BY c.controller)"_s;

QString StampText(const QDateTime& stamp)
{
    return stamp.isValid() ? stamp.toString(u"yyyy-MM-dd hh:mm:ss"_s) : u"-"_s;
}

/// "3 min", "5 h", "12 d"; a clock that runs ahead is told as such.
QString LagText(qint64 seconds)
{
    if (seconds < 0)
        return Texts::tr("ahead");
    if (seconds < 2 * 3600)
        return Texts::tr("%1 min").arg(seconds / 60);
    return seconds < 2 * 86400 ? Texts::tr("%1 h").arg(seconds / 3600) : Texts::tr("%1 d").arg(seconds / 86400);
}

double ShareOf(const FleetMember& member)
{
    return member.rowsToday > 0
        ? static_cast<double>(member.readingsToday) * 100.0 / static_cast<double>(member.rowsToday)
        : 0.0;
}

QString Line(const QStringList& columns)
{
    constexpr std::array<int, 6> Widths{8, 21, 8, 9, 9, 6};
    QString line;
    for (size_t i = 0; i < Widths.size(); ++i)
        line += columns[static_cast<qsizetype>(i)].rightJustified(Widths[i]);
    return line + "  "_L1 + columns.last();
}

} // namespace

std::optional<QList<FleetMember>> FleetMembers(FleetCentre& centre, const QDateTime& now)
{
    const auto rows = centre.Rows(Members.arg(now.date().toString(u"yyyy-MM-dd"_s)));
    if (!rows)
        return std::nullopt;
    QList<FleetMember> members;
    for (const QVariantList& row : *rows) {
        FleetMember member;
        member.controller = row[0].toString();
        member.isRemoved = row[1].toBool();
        member.meters = row[2].toInt();
        if (!row[3].isNull())
            member.lastRow = QDateTime(row[3].toDate(), QTime::fromString(row[4].toString(), u"hh:mm:ss"_s), Qt::UTC);
        member.rowsToday = row[5].toLongLong();
        member.readingsToday = row[6].toLongLong();
        if (!row[7].isNull())
            member.heard = QDateTime::fromSecsSinceEpoch(row[7].toLongLong(), Qt::UTC);
        member.waiting = row[8].toLongLong();
        member.deadLetters = row[9].toLongLong();
        members.append(member);
    }
    return members;
}

QString FleetAsText(const QList<FleetMember>& members, const QDateTime& now)
{
    QStringList lines{Line({Texts::tr("meters"), Texts::tr("last row"), Texts::tr("lag"), Texts::tr("today %"),
        Texts::tr("waiting"), Texts::tr("dead"), Texts::tr("controller")})};
    for (const FleetMember& member : members) {
        const QString name = Shown(member.controller.toUtf8());
        lines.append(Line({QString::number(member.meters), StampText(member.lastRow),
            member.lastRow.isValid() ? LagText(member.lastRow.secsTo(now)) : u"-"_s,
            member.rowsToday > 0 ? QString::number(ShareOf(member), 'f', 1) : u"-"_s,
            member.heard.isValid() ? QString::number(member.waiting) : u"-"_s, QString::number(member.deadLetters),
            member.isRemoved ? Texts::tr("%1 (removed)").arg(name) : name}));
    }
    return lines.join(u'\n');
}

QString FleetAsJson(const QList<FleetMember>& members, const QDateTime& now)
{
    QJsonArray controllers;
    for (const FleetMember& member : members) {
        const auto orNull = [](bool isKnown, const QJsonValue& value) { return isKnown ? value : QJsonValue(); };
        controllers.append(QJsonObject{{u"controller"_s, Shown(member.controller.toUtf8())},
            {u"isRemoved"_s, member.isRemoved}, {u"meters"_s, member.meters},
            {u"lastRow"_s, orNull(member.lastRow.isValid(), StampText(member.lastRow))},
            {u"lagSeconds"_s, orNull(member.lastRow.isValid(), member.lastRow.secsTo(now))},
            {u"rowsToday"_s, member.rowsToday}, {u"readingsToday"_s, member.readingsToday},
            {u"percentToday"_s, orNull(member.rowsToday > 0, ShareOf(member))},
            {u"heard"_s, orNull(member.heard.isValid(), member.heard.toString(Qt::ISODate))},
            {u"waiting"_s, orNull(member.heard.isValid(), member.waiting)}, {u"deadLetters"_s, member.deadLetters}});
    }
    return QString::fromUtf8(QJsonDocument(QJsonObject{{u"controllers"_s, controllers}}).toJson()).trimmed();
}
