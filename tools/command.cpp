#include "command.h"

#include "likely.h"
#include "settingsfile.h"
#include "texts.h"

#include <QFileInfo>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// What the toolkit's parser says by itself; here for the translator's catalogue.
[[maybe_unused]] constexpr const char* ParserTexts[] = {
    QT_TRANSLATE_NOOP("QCommandLineParser", "Usage: %1"),
    QT_TRANSLATE_NOOP("QCommandLineParser", "[options]"),
    QT_TRANSLATE_NOOP("QCommandLineParser", "Options:"),
    QT_TRANSLATE_NOOP("QCommandLineParser", "Arguments:"),
    QT_TRANSLATE_NOOP("QCommandLineParser", "Missing value after '%1'."),
    QT_TRANSLATE_NOOP("QCommandLineParser", "Unexpected value after '%1'."),
};

void Print(FILE* stream, const QString& text)
{
    std::fprintf(stream, "%s\n", qUtf8Printable(text));
}

int Refuse(const QString& why, const QString& way)
{
    Complain(Texts::tr("%1 See %2 --help").arg(why, way));
    return WrongUsage;
}

QString Overview(const QList<Subcommand>& commands, const QString& about, const QString& way)
{
    QString text = Texts::tr("Usage: %1 COMMAND ...\n%2\n\nCommands:\n").arg(way, about);
    for (const Subcommand& command : commands)
        text += u"  %1 %2\n"_s.arg(command.name, -12).arg(command.summary);
    text += Texts::tr("\nOptions:\n");
    text += u"  -h, --help     "_s + Texts::tr("Tells this.") + u'\n';
    text += u"  -v, --version  "_s + Texts::tr("Tells the version.") + u'\n';
    return text + Texts::tr("\n%1 COMMAND --help tells more.").arg(way);
}

QString WithGuess(const QString& complaint, const QString& likely)
{
    return likely.isEmpty() ? complaint : complaint + u' ' + Texts::tr("Is \"%1\" meant?").arg(likely);
}

QString NoCommand(const QString& name, const QList<Subcommand>& commands)
{
    QStringList names;
    for (const Subcommand& command : commands)
        names.append(command.name);
    return WithGuess(Texts::tr("There is no command \"%1\".").arg(name), LikelyOf(names, name));
}

QStringList UsualSettings()
{
    return {u"/etc/ravelin/ravelin.ini"_s, QCoreApplication::applicationDirPath() + "/ravelin.ini"_L1};
}

} // namespace

int RunOneOf(const QList<Subcommand>& commands, const QString& about, QStringList words)
{
    const QString way = words.first();
    const bool asksForHelp = words.value(1) == "help"_L1;
    if (asksForHelp && words.size() > 2)
        words = QStringList{way} + words.mid(2) + QStringList{u"--help"_s};
    const QString name = words.value(1);
    if (name.isEmpty())
        return Refuse(Texts::tr("A command is missing."), way);
    if (name == "help"_L1 || name == "--help"_L1 || name == "-h"_L1) {
        Print(stdout, Overview(commands, about, way));
        return Done;
    }
    if (name == "--version"_L1 || name == "-v"_L1) {
        Print(stdout, QCoreApplication::applicationVersion());
        return Done;
    }
    const auto command =
        std::find_if(commands.begin(), commands.end(), [&](const Subcommand& known) { return known.name == name; });
    if (command == commands.end())
        return Refuse(NoCommand(name, commands), way);
    return command->run(QStringList{way + u' ' + name} + words.mid(2));
}

CommandLine::CommandLine(const QString& about, Takes takes_) : takes(takes_)
{
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions); // "-settings", as the daemon has it
    parser.setApplicationDescription(about);
    Add({{u"h"_s, u"help"_s}, Texts::tr("Tells this.")});
    Add({u"settings"_s,
        Texts::tr("The daemon's settings file (default: the first there is of %1).").arg(UsualSettings().join(", "_L1)),
        Texts::tr("file")});
    if (takes == Takes::GlobalIds)
        parser.addPositionalArgument(u"global_id"_s, Texts::tr("The meter's key in the register."), u"GLOBAL_ID..."_s);
    else if (takes == Takes::Controller)
        parser.addPositionalArgument(
            u"controller"_s, Texts::tr("The controller's name, which its role has, too."), u"CONTROLLER"_s);
    else if (takes == Takes::NameAndArgument) {
        parser.addPositionalArgument(u"name"_s, Texts::tr("Of the command."), u"[NAME"_s);
        parser.addPositionalArgument(u"argument"_s, Texts::tr("What it takes, if it does."), u"[ARGUMENT]]"_s);
    } else if (takes == Takes::NewFile)
        parser.addPositionalArgument(u"file"_s, Texts::tr("The file to write."), u"FILE"_s);
    else if (takes != Takes::Nothing)
        parser.addPositionalArgument(u"file"_s, Texts::tr("The register as comma-separated values."),
            takes == Takes::File ? u"FILE.csv"_s : u"[FILE.csv]"_s);
}

void CommandLine::Add(const QCommandLineOption& option)
{
    parser.addOption(option);
    optionNames += option.names();
}

void CommandLine::AddFlag(const QString& name, const QString& about)
{
    Add({name, about});
}

void CommandLine::AddOption(
    const QString& name, const QString& meaning, const QString& about, const QString& defaultValue)
{
    Add({name, about, meaning, defaultValue});
}

QString CommandLine::UsageProblem() const
{
    const QStringList unknown = parser.unknownOptionNames();
    if (unknown.isEmpty())
        return parser.errorText();
    const QString likely = LikelyOf(optionNames, unknown.first());
    return WithGuess(
        Texts::tr("There is no option \"%1\".").arg(unknown.first()), likely.isEmpty() ? likely : "--"_L1 + likely);
}

std::optional<int> CommandLine::Parse(const QStringList& words)
{
    const QString& way = words.first();
    if (!parser.parse(words))
        return Refuse(UsageProblem(), way);
    if (parser.isSet(u"help"_s)) {
        Print(stdout, parser.helpText().replace(QCoreApplication::arguments().constFirst(), way).trimmed());
        return Done;
    }
    const QStringList given = parser.positionalArguments();
    if (given.isEmpty() && (takes == Takes::File || takes == Takes::NewFile))
        return Refuse(Texts::tr("A file is missing."), way);
    if (given.isEmpty() && takes == Takes::GlobalIds)
        return Refuse(Texts::tr("A global_id is missing."), way);
    if (given.isEmpty() && takes == Takes::Controller)
        return Refuse(Texts::tr("The name of a controller is missing."), way);
    const int most = takes == Takes::Nothing ? 0 : takes == Takes::NameAndArgument ? 2 : 1;
    if (takes != Takes::GlobalIds && given.size() > most)
        return Refuse(Texts::tr("Too many words: \"%1\".").arg(given.constLast()), way);
    return std::nullopt;
}

CommandLine::SettingsChoice CommandLine::ChooseSettings() const
{
    if (const QString named = parser.value(u"settings"_s); !named.isEmpty())
        return {named, {}, {}};
    const QStringList usual = UsualSettings();
    QStringList found;
    for (const QString& name : usual)
        if (QFileInfo::exists(name))
            found.append(name);
    if (found.isEmpty())
        return {{},
            Texts::tr("There is no settings file, neither %1 nor %2; name one: -settings FILE").arg(usual[0], usual[1]),
            {}};
    return {found.first(), Texts::tr("No -settings was given; %1 is taken.").arg(found.first()), found.mid(1)};
}

std::optional<SysVar> CommandLine::Settings(void (*tell)(const QString& sentence)) const
{
    const SettingsChoice choice = ChooseSettings();
    if (choice.name.isEmpty()) {
        Complain(choice.remark);
        return std::nullopt;
    }
    if (!choice.remark.isEmpty())
        (tell ? tell : Tell)(choice.remark);
    SettingsFile settings(choice.name);
    const SysVar vars = ReadSysVar(settings);
    const QStringList problems = settings.Problems();
    if (problems.isEmpty())
        return vars;
    static_cast<void>(ComplainOfAll(problems));
    Complain(Texts::tr("Nothing is done while the settings have problems."));
    return std::nullopt;
}

void Tell(const QString& sentence)
{
    Print(stdout, sentence);
}

void Complain(const QString& sentence)
{
    Print(stderr, "ravelinctl: "_L1 + QString(sentence).replace(u'\n', u' ')); // a value may hold a line feed
}

int ComplainOfAll(const QStringList& problems)
{
    for (const QString& problem : problems)
        Complain(problem);
    return Problems;
}
