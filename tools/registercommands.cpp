#include "registercommands.h"

#include "command.h"
#include "registercsv.h"
#include "registerdatabase.h"
#include "texts.h"

#include <memory>

using namespace Qt::StringLiterals;

namespace {

// The daemon's database, or nothing after the reason was told.
std::unique_ptr<RegisterDatabase> Opened(const SysVar& vars, RegisterDatabase::Missing file)
{
    auto database = std::make_unique<RegisterDatabase>(vars);
    if (database->Open(file))
        return database;
    Complain(database->Error());
    return nullptr;
}

std::unique_ptr<RegisterDatabase> Opened(const CommandLine& line, RegisterDatabase::Missing file)
{
    const std::optional<SysVar> vars = line.Settings();
    return vars ? Opened(*vars, file) : nullptr;
}

// What `use` makes of the register as it is in `database`, or of the reason that it cannot be read.
template <class Use>
int WithRows(RegisterDatabase& database, const Use& use)
{
    const auto rows = database.Rows();
    return rows ? use(*rows) : ComplainOfAll({database.Error()});
}

int AddOrChange(RegisterDatabase& database, const QList<RegisterRow>& stored, const QList<RegisterRow>& given)
{
    const RegisterChange change = PlannedChange(stored, given);
    if (const QStringList problems = RegisterProblems(change.kept + given); !problems.isEmpty())
        return ComplainOfAll(problems);
    if (!database.Write(change))
        return ComplainOfAll({database.Error()});
    Tell(Texts::tr("%1: %2 added, %3 changed, %4 as they were, %5 not in the file.")
             .arg(database.Name())
             .arg(change.added.size())
             .arg(change.changed.size())
             .arg(change.unchanged.size())
             .arg(change.kept.size()));
    return Done;
}

int TakeOut(RegisterDatabase& database, const QList<RegisterRow>& stored, QStringList globalIds)
{
    QList<RegisterRow> removed;
    for (const RegisterRow& row : stored)
        if (globalIds.removeAll(row.globalId) > 0)
            removed.append(row);
    QStringList complaints;
    for (const QString& unknown : globalIds)
        complaints.append(Texts::tr("%1: no meter with global_id \"%2\" is registered").arg(database.Name(), unknown));
    if (!complaints.isEmpty())
        return ComplainOfAll(complaints);
    if (!database.Remove(removed))
        return ComplainOfAll({database.Error()});
    for (const RegisterRow& row : removed)
        Tell(Texts::tr("Removed %1: %2, UIN %3.").arg(row.place, row.model, row.uin));
    return Done;
}

template <class Open>
int ImportFile(const QString& fileName, const Open& open)
{
    const RegisterText text = ReadRegisterCsv(fileName);
    if (const QStringList problems = text.problems + RegisterProblems(text.rows); !problems.isEmpty())
        return ComplainOfAll(problems);
    const auto database = open();
    if (!database)
        return Problems;
    return WithRows(*database, [&](const auto& stored) { return AddOrChange(*database, stored, text.rows); });
}

int Init(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Makes the tables, indexes and views that the daemon needs in its database. What is there already\n"
                  "is left as it is; if the daemon cannot work with it, that is told and nothing is made. An SQLite\n"
                  "file and its directory are made, and its write-ahead log is switched on; a PostgreSQL database\n"
                  "must exist. As the daemon does, takes a BaseName of SQLite without a leading slash from the\n"
                  "program's own directory."),
        CommandLine::Takes::Nothing);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const std::optional<SysVar> vars = line.Settings();
    return vars ? InitDatabase(*vars) : Problems;
}

int Import(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Fills the register of meters from a file. A meter is known by its global_id: those that are\n"
                  "registered already get the values of the file, new ones are added, and those that the file does\n"
                  "not name stay. When anything in the file, or in the register as it would be then, is wrong, all of\n"
                  "that is told and nothing is written."),
        CommandLine::Takes::File);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const auto open = [&] { return Opened(line, RegisterDatabase::Missing::Fails); };
    return ImportFile(line.FileName(), open);
}

int Remove(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Takes meters out of the register; their readings stay. When one of them is not registered, that is\n"
                  "told and none is removed."),
        CommandLine::Takes::GlobalIds);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const auto database = Opened(line, RegisterDatabase::Missing::Fails);
    if (!database)
        return Problems;
    return WithRows(*database, [&](const auto& stored) { return TakeOut(*database, stored, line.GlobalIds()); });
}

int ReportCheck(const QString& name, const QList<RegisterRow>& rows, const QStringList& problems)
{
    if (!problems.isEmpty())
        return ComplainOfAll(problems);
    Tell(Texts::tr("%1: no problems; %2.").arg(name, RegisterSummary(rows)));
    return Done;
}

int Check(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Tells everything that is wrong with a register of meters: with a file before it is imported, or,\n"
                  "without a file, with the register in the daemon's database. Changes nothing."),
        CommandLine::Takes::OptionalFile);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    if (!line.FileName().isEmpty()) {
        const RegisterText text = ReadRegisterCsv(line.FileName());
        return ReportCheck(line.FileName(), text.rows, text.problems + RegisterProblems(text.rows));
    }
    const std::optional<SysVar> vars = line.Settings();
    if (!vars)
        return Problems;
    RegisterDatabase database(*vars);
    if (!database.OpenToRead())
        return ComplainOfAll({database.Error()});
    return WithRows(
        database, [&](const auto& rows) { return ReportCheck(database.Name(), rows, RegisterProblems(rows)); });
}

} // namespace

int InitDatabase(const SysVar& vars)
{
    const auto database = Opened(vars, RegisterDatabase::Missing::IsMade);
    if (!database)
        return Problems;
    const RegisterDatabase::Creation creation = database->CreateSchema();
    if (!creation)
        return ComplainOfAll(creation.problems);
    for (const QString& sentence : creation.report)
        Tell(sentence);
    Tell(Texts::tr("The %1 is ready.").arg(database->Name()));
    return Done;
}

int ImportRegister(const SysVar& vars, const QString& fileName)
{
    return ImportFile(fileName, [&] { return Opened(vars, RegisterDatabase::Missing::Fails); });
}

int RunRegister(const QStringList& words)
{
    const QList<Subcommand> commands{
        {u"init"_s, Texts::tr("Makes the tables in the daemon's database."), Init},
        {u"import"_s, Texts::tr("Fills the register from a file."), Import},
        {u"remove"_s, Texts::tr("Takes meters out of the register."), Remove},
        {u"check"_s, Texts::tr("Tells what is wrong with a file or with the register in the database."), Check},
    };
    return RunOneOf(commands, Texts::tr("The database's schema and the register of meters in it."), words);
}
