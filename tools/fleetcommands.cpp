// Looks after the centre of many controllers: its schema, a role for each controller, its months.

#include "fleetcommands.h"

#include "clock.h"
#include "fleetcentre.h"
#include "fleetlist.h"
#include "fleetmonths.h"
#include "shown.h"
#include "texts.h"
#include "walltime.h"

#include <QFile>
#include <QRandomGenerator>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

constexpr int MostMonths = 1200;

QDate Today()
{
    return CurrentDateTime().date();
}

QString MonthText(QDate month)
{
    return month.toString(u"yyyy-MM"_s);
}

QString MonthsText(const QList<QDate>& months)
{
    QStringList texts;
    for (const QDate month : months)
        texts.append(MonthText(month));
    return texts.isEmpty() ? Texts::tr("none") : texts.join(u", "_s);
}

/// Whole statements, each ending with a semicolon at the end of a line; none inside of $$ ends there.
QStringList SchemaStatements()
{
    QFile schema(u":/schema/fleet.sql"_s);
    if (!schema.open(QIODevice::ReadOnly))
        qFatal("the schema is not in the program");
    QStringList statements;
    QString statement;
    for (const QString& line : QString::fromUtf8(schema.readAll()).split(u'\n')) {
        statement += line.section(u"-- "_s, 0, 0) + u'\n';
        if (!statement.trimmed().endsWith(u';') || statement.count(u"$$"_s) % 2 != 0)
            continue;
        statements.append(statement.trimmed());
        statement.clear();
    }
    return statements;
}

// --- months

/// First and last month that the options ask for; invalid ones after a complaint.
struct Months {
    QDate first;
    QDate last;
};

void AddMonthOptions(CommandLine& line)
{
    line.AddOption(
        u"ahead"_s, Texts::tr("months"), Texts::tr("How many months beside this one, 1 to 1200 (default 3)."), u"3"_s);
    line.AddOption(u"since"_s, Texts::tr("month"),
        Texts::tr("The first month, yyyy-MM, for rows that are older than the centre (default: this month)."), {});
}

std::optional<Months> MonthsOf(const CommandLine& line)
{
    const QDate today = Today();
    const QString since = line.Option(u"since"_s);
    const QDate first =
        since.isEmpty() ? QDate(today.year(), today.month(), 1) : QDate::fromString(since + u"-01"_s, u"yyyy-MM-dd"_s);
    const int ahead = line.Option(u"ahead"_s).toInt();
    if (ahead >= 1 && ahead <= MostMonths && first.isValid() && first <= today && first.addMonths(MostMonths) > today)
        return Months{first, QDate(today.year(), today.month(), 1).addMonths(ahead)};
    Complain(Texts::tr("--ahead takes 1 to 1200 months, --since a month yyyy-MM that has begun."));
    return std::nullopt;
}

int MakeMonths(FleetCentre& centre, const Months& months)
{
    FleetMonths partitions(centre);
    const auto made = partitions.Make(months.first, months.last);
    if (!made)
        return ComplainOfAll({centre.Error()});
    Tell(Texts::tr("Months made: %1.").arg(MonthsText(*made)));
    return Done;
}

int RunMonths(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Makes the months that rows will come to. A row whose month is not there is refused: run "
                  "this\nonce a month, by a timer, with some months ahead."),
        CommandLine::Takes::Nothing);
    FleetCentre::AddOptions(line);
    AddMonthOptions(line);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const std::optional<Months> months = MonthsOf(line);
    if (!months)
        return WrongUsage;
    const auto centre = FleetCentre::OpenedWithSchema(line);
    return centre ? MakeMonths(*centre, *months) : Problems;
}

int RunRetainMonths(const QStringList& words)
{
    CommandLine line(Texts::tr("Drops whole months of readings and clock readings of all controllers. They are gone at "
                               "once, and so\nis the room that they took. Older rows are not taken any more."),
        CommandLine::Takes::Nothing);
    FleetCentre::AddOptions(line);
    line.AddOption(
        u"keep"_s, Texts::tr("months"), Texts::tr("How many months stay beside the current one, 1 to 1200."), {});
    line.AddFlag(u"dry-run"_s, Texts::tr("Only tells which months would go."));
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const int keep = line.Option(u"keep"_s).toInt();
    if (keep < 1 || keep > MostMonths) {
        Complain(Texts::tr("--keep takes a number of months from 1 to 1200."));
        return WrongUsage;
    }
    const auto centre = FleetCentre::OpenedWithSchema(line);
    if (!centre)
        return Problems;
    const QDate today = Today();
    const QDate first = QDate(today.year(), today.month(), 1).addMonths(-keep);
    FleetMonths partitions(*centre);
    const auto old = partitions.Before(first);
    if (!old)
        return ComplainOfAll({centre->Error()});
    if (line.HasFlag(u"dry-run"_s)) {
        Tell(Texts::tr("Months that would go: %1.").arg(MonthsText(*old)));
        return Done;
    }
    if (!partitions.Drop(first))
        return ComplainOfAll({centre->Error()});
    Tell(Texts::tr("Months dropped: %1. Rows are kept since %2.").arg(MonthsText(*old), MonthText(first)));
    return Done;
}

// --- the schema

int RunInit(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Makes the schema of a centre in an empty PostgreSQL database, and its first months. The "
                  "role that\ndoes it owns it, and must be allowed to make roles."),
        CommandLine::Takes::Nothing);
    FleetCentre::AddOptions(line);
    AddMonthOptions(line);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const std::optional<Months> months = MonthsOf(line);
    if (!months)
        return WrongUsage;
    const auto centre = FleetCentre::Opened(line);
    if (!centre)
        return Problems;
    const std::optional<int> version = centre->SchemaVersion();
    if (!version)
        return ComplainOfAll({centre->Error()});
    if (*version != 0) {
        if (!FleetCentre::Knows(*version))
            return Problems;
        Tell(Texts::tr("The schema is there already."));
        return MakeMonths(*centre, *months);
    }
    const QStringList statements = SchemaStatements();
    const bool isMade = centre->InTransaction([&] {
        return std::all_of(statements.begin(), statements.end(), [&](const QString& one) { return centre->Run(one); })
            && centre->Run(u"INSERT INTO fleet.info (version, kept_since) VALUES (%1, '%2')"_s.arg(FleetCentre::Version)
                               .arg(months->first.toString(u"yyyy-MM-dd"_s)));
    });
    if (!isMade)
        return ComplainOfAll({centre->Error()});
    Tell(Texts::tr("Made the schema."));
    return MakeMonths(*centre, *months);
}

// --- controllers

/// A sentence about what keeps `name` from being a role's; empty when nothing does.
QString NameProblem(const QString& name)
{
    constexpr qsizetype MostBytes = 63; // the server would cut it
    const bool isPlain = std::all_of(name.begin(), name.end(), [](QChar c) { return c.isPrint(); });
    if (!isPlain || name.trimmed() != name || name.isEmpty() || name.toUtf8().size() > MostBytes
        || name.startsWith("pg_"_L1) || name == "public"_L1 || name == "none"_L1)
        return Texts::tr("A controller's name has 1 to 63 bytes, no control characters, no blank at its ends, and is "
                         "none of \"public\", \"none\" and \"pg_...\".");
    return {};
}

QString NewPassword()
{
    constexpr int Words = 6; // of 32 bits
    std::array<quint32, Words> random{};
    QRandomGenerator::system()->fillRange(random.data(), random.size());
    const QByteArray bytes(reinterpret_cast<const char*>(random.data()), sizeof random);
    return QString::fromLatin1(bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

/// The first line of the file. None after a complaint.
std::optional<QString> PasswordIn(const QString& fileName)
{
    constexpr qint64 Most = 1024;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        Complain(u"%1: %2"_s.arg(fileName, file.errorString()));
        return std::nullopt;
    }
    const QString password = QString::fromUtf8(file.readLine(Most)).section(u'\n', 0, 0).remove(u'\r');
    if (!password.isEmpty())
        return password;
    Complain(Texts::tr("%1: its first line is no password.").arg(fileName));
    return std::nullopt;
}

bool AddRole(FleetCentre& centre, const QString& controller, const QString& password)
{
    const QString role = FleetCentre::Identifier(controller);
    const std::array<QString, 4> statements{
        u"CREATE ROLE %1 LOGIN PASSWORD %2 CONNECTION LIMIT 8 IN ROLE ravelin_controllers"_s.arg(
            role, FleetCentre::Literal(password)),
        // What is known of a new day's rows comes later than the rows: until then a join would go through all of them
        // for each of them.
        u"ALTER ROLE %1 SET enable_nestloop = off"_s.arg(role),
        // One that vanished in a transaction must not keep its locks.
        u"ALTER ROLE %1 SET idle_in_transaction_session_timeout = '60s'"_s.arg(role),
        u"INSERT INTO fleet.controllers (controller) VALUES (%1) ON CONFLICT (controller) DO UPDATE SET removed = NULL"_s
            .arg(FleetCentre::Literal(controller)),
    };
    return centre.InTransaction([&] {
        return std::all_of(statements.begin(), statements.end(), [&](const QString& one) { return centre.Run(one); });
    });
}

int RunAdd(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Lets a controller in: a login role of its name, which sees its own rows alone. Its password "
                  "is told\nonce, unless a file holds it."),
        CommandLine::Takes::Controller);
    FleetCentre::AddOptions(line);
    line.AddOption(u"password-file"_s, Texts::tr("file"), Texts::tr("Its first line is the password."), {});
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const QString controller = line.Controller();
    if (const QString problem = NameProblem(controller); !problem.isEmpty()) {
        Complain(problem);
        return WrongUsage;
    }
    const QString file = line.Option(u"password-file"_s);
    const std::optional<QString> password = file.isEmpty() ? NewPassword() : PasswordIn(file);
    if (!password)
        return Problems;
    const auto centre = FleetCentre::OpenedWithSchema(line);
    if (!centre)
        return Problems;
    if (!AddRole(*centre, controller, *password))
        return ComplainOfAll({centre->Error()});
    Tell(Texts::tr("Added the controller %1.").arg(controller));
    if (file.isEmpty())
        Tell(Texts::tr("Its password, told this once: %1").arg(*password));
    return Done;
}

int RunRemove(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Lets a controller in no more: its role goes, its rows stay."), CommandLine::Takes::Controller);
    FleetCentre::AddOptions(line);
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const auto centre = FleetCentre::OpenedWithSchema(line);
    if (!centre)
        return Problems;
    const QString name = FleetCentre::Literal(line.Controller());
    const auto known = centre->Rows(u"SELECT FROM fleet.controllers WHERE removed IS NULL AND controller = "_s + name);
    if (!known)
        return ComplainOfAll({centre->Error()});
    if (known->isEmpty())
        return ComplainOfAll({Texts::tr("There is no controller %1.").arg(line.Controller())});
    const bool isDone = centre->InTransaction([&] {
        return centre->Run(u"UPDATE fleet.controllers SET removed = now() WHERE controller = "_s + name)
            && centre->Run(u"DROP ROLE IF EXISTS "_s + FleetCentre::Identifier(line.Controller()));
    });
    if (!isDone)
        return ComplainOfAll({centre->Error()});
    Tell(Texts::tr("Removed the controller %1; its rows stay.").arg(line.Controller()));
    return Done;
}

int RunList(const QStringList& words)
{
    CommandLine line(
        Texts::tr("Tells of each controller its newest sweep and how long ago that is, how many of today's "
                  "rows are\nreadings, and what its forwarder had still to deliver."),
        CommandLine::Takes::Nothing);
    FleetCentre::AddOptions(line);
    line.AddFlag(u"json"_s, Texts::tr("For programs."));
    if (const std::optional<int> code = line.Parse(words))
        return *code;
    const auto centre = FleetCentre::OpenedWithSchema(line);
    if (!centre)
        return Problems;
    const QDateTime now = WallTime(CurrentDateTime().date(), CurrentDateTime().time());
    const auto members = FleetMembers(*centre, now);
    const auto reachesTo = FleetMonths(*centre).ReachesTo(now.date());
    if (!members || !reachesTo)
        return ComplainOfAll({centre->Error()});
    Tell(line.HasFlag(u"json"_s) ? FleetAsJson(*members, now) : FleetAsText(*members, now));
    if (*reachesTo > now.date())
        return Done;
    Complain(Texts::tr("The centre has no month after %1: run \"ravelinctl fleet months\".")
                 .arg(reachesTo->isValid() ? MonthText(*reachesTo) : MonthText(now.date().addMonths(-1))));
    return Problems;
}

} // namespace

int RunFleet(const QStringList& words)
{
    const QList<Subcommand> commands{
        {u"init"_s, Texts::tr("Makes the schema of a centre and its first months."), RunInit},
        {u"add"_s, Texts::tr("Lets a controller in: a role of its own."), RunAdd},
        {u"remove"_s, Texts::tr("Lets a controller in no more."), RunRemove},
        {u"list"_s, Texts::tr("Tells which controllers deliver."), RunList},
        {u"months"_s, Texts::tr("Makes the months that rows will come to."), RunMonths},
        {u"retain"_s, Texts::tr("Drops old months."), RunRetainMonths},
    };
    return RunOneOf(commands, Texts::tr("Looks after a centre: one PostgreSQL database for many controllers."), words);
}
