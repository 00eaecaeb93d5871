#include "delivery.h"

#include "centrestatements.h"
#include "copytext.h"
#include "forwardtexts.h"

#include <QDate>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr int DaysAhead = 31; // further ahead no clock is right, and no month need be there

CentreLink::Outcome Failure(const QString& why)
{
    CentreLink::Outcome outcome;
    outcome.error = why;
    return outcome;
}

QDate Day(const QByteArray& text)
{
    return QDate::fromString(QString::fromLatin1(text), Qt::ISODate);
}

/// Why the centre will never have a table for the month of `date`. Empty when it should: that somebody forgot to make
/// it is no fault of the row.
QString WhyNoMonth(const QDate& date, const QDate& keptSince, const QDate& today)
{
    if (keptSince.isValid() && date < keptSince)
        return ForwardTexts::tr("older than what the centre keeps, since %1").arg(keptSince.toString(Qt::ISODate));
    if (date > today.addDays(DaysAhead))
        return ForwardTexts::tr("its date is in the future: the controller's clock was wrong");
    return {};
}

} // namespace

Delivery::Delivery(CentreLink& centre_, QUuid source_, const Marks& marks_, Told told_)
    : centre(centre_),
      source(source_),
      marks(marks_),
      told(std::move(told_))
{
}

QString Delivery::Deliver(std::size_t table, const QList<SourceRow>& rows)
{
    const auto hasObjection = [&](const SourceRow& row) {
        return !CopyText::Objection(SourceTables[table], row.values).isEmpty();
    };
    for (auto begin = rows.begin(); begin != rows.end();) {
        const auto end = std::find_if(begin, rows.end(), hasObjection);
        if (const QString why = DeliverSound(table, Rows(begin, end)); !why.isEmpty())
            return why;
        begin = end;
        if (begin == rows.end())
            break;
        const QString objection = CopyText::Objection(SourceTables[table], begin->values);
        if (const QString why = MakeDead(table, *begin, "22007"_ba, objection); !why.isEmpty())
            return why;
        ++begin;
    }
    return {};
}

// Halves what is refused until the refused rows stand alone.
QString Delivery::DeliverSound(std::size_t table, Rows rows)
{
    if (rows.empty())
        return {};
    const CentreLink::Outcome outcome = Together(table, rows);
    if (outcome.done) {
        told.delivered(table, QList<SourceRow>(rows.begin(), rows.end()));
        return {};
    }
    if (!outcome.RefusesValues())
        return outcome.error;
    if (rows.size() == 1)
        return Alone(table, rows.front(), outcome);
    const std::size_t half = rows.size() / 2;
    const QString why = DeliverSound(table, rows.first(half));
    return why.isEmpty() ? DeliverSound(table, rows.subspan(half)) : why;
}

CentreLink::Outcome Delivery::Together(std::size_t table, Rows rows)
{
    QByteArray data;
    for (const SourceRow& row : rows)
        data += row.line;
    const SourceTable& into = SourceTables[table];
    if (const auto moved = MoveMark(table, rows.back()); !moved.done)
        return moved;
    const auto copied =
        centre.Copy(CentreStatements::Filled(CentreStatements::Copy, {into.target.data(), into.columns.data()}), data);
    if (!copied.done) {
        static_cast<void>(centre.Run("ROLLBACK")); // what failed is told
        return copied;
    }
    return Commit(table, rows.back());
}

CentreLink::Outcome Delivery::MoveMark(std::size_t table, const SourceRow& last)
{
    const QByteArray move = CentreStatements::Filled(CentreStatements::MoveMark,
        {CentreStatements::Literal(source), CentreStatements::Kind(table), QByteArray::number(last.number),
            QByteArray::number(last.digest), QByteArray::number(marks[table].number)});
    auto moved = centre.Run(CentreStatements::Begin + ("; " + move));
    if (moved.done && moved.tag != "UPDATE 1") {
        moved = Failure(
            ForwardTexts::tr("the centre's mark stands elsewhere: another forwarder delivers this source, or an "
                             "earlier transaction has ended just now"));
    }
    if (!moved.done) {
        static_cast<void>(centre.Run("ROLLBACK"));
        if (moved.sqlState.isEmpty())
            centre.Close(); // the marks are read anew
    }
    return moved;
}

CentreLink::Outcome Delivery::Commit(std::size_t table, const SourceRow& last)
{
    auto committed = centre.Run("COMMIT");
    if (committed.done && committed.tag != "COMMIT")
        committed = Failure(ForwardTexts::tr("the centre rolled the rows back"));
    if (committed.done)
        marks[table] = {last.number, last.digest};
    return committed;
}

QString Delivery::Alone(std::size_t table, const SourceRow& row, const CentreLink::Outcome& refusal)
{
    if (!refusal.LacksMonth())
        return MakeDead(table, row, refusal.sqlState, refusal.error);
    const auto schema = centre.Run(CentreStatements::Schema);
    const auto today = centre.Run(CentreStatements::Today);
    if (!schema.done || !today.done || schema.rows.isEmpty() || today.rows.isEmpty())
        return schema.done ? today.error : schema.error;
    const QDate date = row.values[SourceTables[table].date].toDate();
    const QString why = WhyNoMonth(date, Day(schema.rows[0][1]), Day(today.rows[0][0]));
    if (!why.isEmpty())
        return MakeDead(table, row, refusal.sqlState, why);
    return ForwardTexts::tr("the centre has no table for %1; there, run \"ravelinctl fleet months\"")
        .arg(date.toString(u"yyyy-MM"_s));
}

QString Delivery::MakeDead(std::size_t table, const SourceRow& row, const QByteArray& sqlState, const QString& why)
{
    // A controller that was taken out of the fleet must not see all its rows refused.
    const auto self = centre.Run(CentreStatements::Self);
    if (!self.done || self.rows.isEmpty())
        return self.done ? ForwardTexts::tr("the centre does not know this controller any more") : self.error;
    if (const auto moved = MoveMark(table, row); !moved.done)
        return moved.error;
    const auto stored = centre.Run(CentreStatements::Filled(CentreStatements::DeadLetter,
        {CentreStatements::Literal(source), CentreStatements::Kind(table), QByteArray::number(row.number),
            centre.Literal(sqlState), centre.Literal(why.toUtf8()),
            centre.Literal(CopyText::Json(SourceTables[table], row.values))}));
    if (!stored.done) {
        static_cast<void>(centre.Run("ROLLBACK"));
        return stored.error;
    }
    if (const auto committed = Commit(table, row); !committed.done)
        return committed.error;
    told.dead(table, row, why);
    return {};
}
