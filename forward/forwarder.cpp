// A pass, from the file to the centre. What fails ends the pass: the next one begins with what the centre says then.

#include "forwarder.h"

#include "centrestatements.h"
#include "clock.h"
#include "forwardtexts.h"
#include "log.h"
#include "service.h"

#include <QRandomGenerator>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int SchemaVersion = 1;
constexpr int DeadLinesAPass = 100;
constexpr qint64 TellCentreEveryMs = 60000;
constexpr qint64 LongestPauseMs = 60000;
constexpr qint64 FirstPauseMs = 1000;

QString Version(const QByteArray& version)
{
    return version.isEmpty() ? ForwardTexts::tr("none") : QString::fromUtf8(version);
}

} // namespace

Forwarder::Forwarder(const ForwardSettings& settings_)
    : settings(settings_),
      file(settings.database),
      notes(NotesPathOf(settings.database)),
      registers(settings, file, notes, centre),
      deadLines(DeadLinesAPass)
{
}

bool Forwarder::Pass()
{
    problem = Work();
    deadLines.PeriodEnds(ForwardTexts::tr("%1 more rows became dead letters"));
    notes.Note(u"problem"_s, problem);
    if (problem.isEmpty()) {
        failures = 0;
        const QString sentence = ForwardTexts::tr("All rows are at the centre again");
        if (working.Works(sentence))
            Log(sentence);
    } else {
        ++failures;
        if (working.Fails(problem))
            Log(problem, Severity::Error);
    }
    Service::Status(problem.isEmpty() ? ForwardTexts::tr("all rows are at the centre") : problem);
    return problem.isEmpty();
}

// Not all controllers of a fleet at once when their centre is back.
unsigned int Forwarder::PauseMs() const
{
    if (failures == 0)
        return static_cast<unsigned int>(settings.everySeconds) * 1000;
    const qint64 longest = std::min(LongestPauseMs, FirstPauseMs << std::min(failures - 1, 10));
    return static_cast<unsigned int>(longest / 2 + QRandomGenerator::global()->bounded(longest / 2 + 1));
}

QString Forwarder::Work()
{
    if (!file.EnsureOpen())
        return ForwardTexts::tr("The daemon's rows cannot be read: %1").arg(file.Error());
    if (!centre.IsOpen()) {
        delivery.reset();
        if (const QString why = Meet(); !why.isEmpty()) {
            centre.Close();
            return why;
        }
    }
    if (!delivery)
        if (const QString why = ChooseSource(); !why.isEmpty())
            return why;
    for (std::size_t table = 0; table < SourceTables.size(); ++table)
        if (const QString why = DeliverTable(table); !why.isEmpty())
            return ForwardTexts::tr("Rows are not delivered: %1").arg(why);
    return TellCentre();
}

QString Forwarder::Meet()
{
    if (const auto connected = centre.Connect(settings.centre); !connected.done)
        return ForwardTexts::tr("The centre cannot be reached: %1").arg(connected.error);
    const auto schema = centre.Run(CentreStatements::Schema);
    const QByteArray version = schema.done && !schema.rows.isEmpty() ? schema.rows[0][0] : QByteArray();
    const bool hasNone = schema.done || schema.sqlState == "42P01";
    if (!hasNone)
        return ForwardTexts::tr("The centre cannot be used: %1").arg(schema.error);
    if (version.toInt() != SchemaVersion)
        return ForwardTexts::tr("The centre's schema has another version: %1, not %2")
            .arg(Version(version))
            .arg(SchemaVersion);
    const auto self = centre.Run(CentreStatements::Self);
    if (!self.done)
        return ForwardTexts::tr("The centre cannot be used: %1").arg(self.error);
    if (self.rows.isEmpty())
        return ForwardTexts::tr("The centre does not know the controller %1; there, run \"ravelinctl fleet add %1\"")
            .arg(settings.controller);
    if (const QString name = QString::fromUtf8(self.rows[0][0]); name != settings.controller)
        return ForwardTexts::tr(
            "The connection to the centre is that of the controller %1, not of %2: the user in Centre "
            "and Controller must be the same")
            .arg(name, settings.controller);
    toldCentre = 0;
    return {};
}

QString Forwarder::KnownSources(QList<SourceChoice::Known>& known)
{
    const auto marks = centre.Run(CentreStatements::Marks);
    if (!marks.done)
        return ForwardTexts::tr("The centre's marks cannot be read: %1").arg(marks.error);
    for (const QList<QByteArray>& values : marks.rows) {
        const QUuid source(QString::fromLatin1(values[0]));
        auto place = std::find_if(known.begin(), known.end(), [&](const auto& one) { return one.source == source; });
        if (place == known.end())
            place = known.insert(known.end(), {source, {}});
        for (std::size_t table = 0; table < SourceTables.size(); ++table)
            if (SourceTables[table].kind == QLatin1StringView(values[1]))
                place->marks[table] = {values[2].toLongLong(), values[3].toLongLong()};
    }
    return {};
}

SourceChoice::Evidence Forwarder::File()
{
    const auto digestOf = [this](std::size_t table, qint64 number) -> qint64 {
        const auto rows = file.Rows(SourceTables[table], number, 1);
        return rows && !rows->isEmpty() && rows->first().number == number ? rows->first().digest : 0;
    };
    return {.digestOf = digestOf,
        .oldestRow = [this](std::size_t table) { return file.OldestRow(SourceTables[table]).value_or(0); },
        .lastCommon =
            [this, digestOf](std::size_t table, qint64 number) {
                return notes.LastCommon(table, std::min(number, file.NewestRow(SourceTables[table]).value_or(0)),
                    [&](qint64 row) { return digestOf(table, row); });
            }};
}

QString Forwarder::ChooseSource()
{
    QList<SourceChoice::Known> known;
    if (const QString why = KnownSources(known); !why.isEmpty())
        return why;
    file.BeginLook();
    const auto choice = SourceChoice::Choose(File(), notes.Source(), known, QUuid::createUuid());
    for (const SourceTable& table : SourceTables)
        static_cast<void>(file.NewestRow(table)); // is there, and can be read
    if (file.LookFailed())
        return ForwardTexts::tr("The daemon's rows cannot be read: %1").arg(file.Error());
    if (choice.isNew)
        if (const QString why = Begin(choice); !why.isEmpty())
            return why;
    if (choice.source != notes.Source())
        notes.BeginSource(choice.source, choice.marks);
    delivery = std::make_unique<Delivery>(centre, choice.source, choice.marks,
        Delivery::Told{.delivered =
                           [this](std::size_t table, const QList<SourceRow>& rows) {
                               notes.NoteRows(table, rows);
                               NoteHowFar(table, {rows.last().number, rows.last().digest});
                           },
            .dead = [this](std::size_t table, const SourceRow& row,
                        const QString& reason) { TellOfDead(table, row, reason); }});
    for (std::size_t table = 0; table < SourceTables.size(); ++table)
        NoteHowFar(table, choice.marks[table]);
    Log(ForwardTexts::tr(
        "Connected to the centre as %1. Delivered of %2 (%3): readings up to row %4, clock readings up to "
        "row %5")
            .arg(settings.controller, file.Path(), choice.source.toString(QUuid::WithoutBraces))
            .arg(choice.marks[0].number)
            .arg(choice.marks[1].number));
    return {};
}

QString Forwarder::Begin(const SourceChoice::Choice& choice)
{
    QByteArray statements = CentreStatements::Begin;
    for (std::size_t table = 0; table < SourceTables.size(); ++table) {
        const Mark& mark = choice.marks[table];
        statements += "; "
            + CentreStatements::Filled(CentreStatements::NewMark,
                {CentreStatements::Literal(choice.source), CentreStatements::Kind(table),
                    QByteArray::number(mark.number), QByteArray::number(mark.digest)});
    }
    const auto begun = centre.Run(statements + "; COMMIT");
    if (!begun.done) {
        static_cast<void>(centre.Run("ROLLBACK"));
        return ForwardTexts::tr("The centre does not take a new source: %1").arg(begun.error);
    }
    if (choice.isReplaced)
        Log(ForwardTexts::tr("%1 is not the file that was delivered before, or was put back from a copy. Its rows are "
                             "delivered as those of another source")
                .arg(file.Path()),
            Severity::Warning);
    return {};
}

// The row at the mark comes along, so that another file is noticed before a row of it is delivered.
QString Forwarder::DeliverTable(std::size_t table)
{
    for (;;) {
        const Mark mark = delivery->Delivered()[table];
        auto rows = file.Rows(SourceTables[table], mark.number, settings.batchRows + 1);
        if (!rows)
            return file.Error();
        file.BeginLook();
        const bool hasMark = !rows->isEmpty() && rows->first().number == mark.number;
        const bool isSame =
            hasMark ? rows->first().digest == mark.digest : SourceChoice::Continues(File(), table, mark);
        if (file.LookFailed())
            return file.Error();
        if (!isSame) {
            delivery.reset();
            if (const QString why = ChooseSource(); !why.isEmpty())
                return why;
            continue;
        }
        if (hasMark)
            rows->removeFirst();
        if (rows->isEmpty())
            return {};
        if (const QString why = delivery->Deliver(table, *rows); !why.isEmpty())
            return why;
    }
}

QString Forwarder::TellCentre()
{
    if (toldCentre != 0 && MonotonicMs() - toldCentre < TellCentreEveryMs)
        return {};
    QByteArray statements = CentreStatements::Begin;
    for (std::size_t table = 0; table < SourceTables.size(); ++table)
        statements += "; "
            + CentreStatements::Filled(CentreStatements::Seen,
                {CentreStatements::Literal(delivery->Source()), CentreStatements::Kind(table),
                    QByteArray::number(file.NewestRow(SourceTables[table]).value_or(0))});
    const auto told = centre.Run(statements + "; COMMIT");
    if (!told.done) {
        static_cast<void>(centre.Run("ROLLBACK"));
        return ForwardTexts::tr("The centre cannot be told how far the delivery is: %1").arg(told.error);
    }
    const auto self = centre.Run(CentreStatements::Self);
    if (!self.done || self.rows.isEmpty()) {
        centre.Close(); // the next connection tells what is wrong
        return ForwardTexts::tr("The centre cannot be used: %1").arg(self.error);
    }
    toldCentre = MonotonicMs();
    const QString why = registers.Carry(self.rows[0][1]);
    return why.isEmpty() ? QString() : ForwardTexts::tr("The centre's register cannot be used: %1").arg(why);
}

void Forwarder::TellOfDead(std::size_t table, const SourceRow& row, const QString& reason)
{
    notes.NoteRows(table, {row});
    NoteHowFar(table, {row.number, row.digest});
    notes.Note(u"dead"_s, QString::number(notes.Noted(u"dead"_s).toLongLong() + 1));
    deadLines.Line(ForwardTexts::tr("The centre refuses row %1 of the %2, which becomes a dead letter: %3")
                       .arg(row.number)
                       .arg(SourceTables[table].shown, reason));
}

void Forwarder::NoteHowFar(std::size_t table, const Mark& mark)
{
    notes.Note("mark "_L1 + SourceTables[table].kind, QString::number(mark.number));
}
