#include "backupcommand.h"

#include "command.h"
#include "dump.h"
#include "newfile.h"
#include "registerdatabase.h"
#include "texts.h"

using namespace Qt::StringLiterals;

namespace {

QString RowsText(const QMap<QString, qint64>& rows)
{
    QStringList texts;
    for (auto table = rows.begin(); table != rows.end(); ++table)
        texts.append(u"%1: %2"_s.arg(table.key()).arg(table.value()));
    return texts.join(", "_L1);
}

int Backup(const RegisterDatabase& database, NewFile& file)
{
    if (!file.Begin())
        return ComplainOfAll({file.Error()});
    if (const QString problem = Dump::Write(database, file.Path()); !problem.isEmpty())
        return ComplainOfAll({database.Name() + ": "_L1 + problem});
    const Dump::Contents contents = Dump::Read(database, file.Path());
    if (!contents.problem.isEmpty())
        return ComplainOfAll({Texts::tr("The copy is not sound: %1").arg(contents.problem)});
    if (!file.Finish())
        return ComplainOfAll({file.Error()});
    Tell(Texts::tr("%1 is copied; rows in the copy: %2.").arg(database.Name(), RowsText(contents.rows)));
    return Done;
}

} // namespace

int RunBackup(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Copies the database into a file while the daemon runs, all of it as of one moment, and reads the\n"
                  "copy to its end before it gets its name. An SQLite database becomes an SQLite file, a PostgreSQL\n"
                  "database an archive for pg_restore. Its owner may write the file and its group read it."),
        CommandLine::Takes::NewFile);
    line.AddFlag(u"replace"_s, Texts::tr("Takes the place of a file of that name."));
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const std::optional<SysVar> vars = line.Settings();
    if (!vars)
        return Problems;
    RegisterDatabase database(*vars);
    if (!database.Open(RegisterDatabase::Missing::Fails))
        return ComplainOfAll({database.Error()});
    NewFile file(
        line.FileName(), line.HasFlag(u"replace"_s) ? NewFile::Existing::IsReplaced : NewFile::Existing::Stays);
    return Backup(database, file);
}
