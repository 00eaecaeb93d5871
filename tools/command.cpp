#include "command.h"

#include "settingsfile.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

void Print(FILE* stream, const QString& text)
{
    std::fprintf(stream, "%s\n", qUtf8Printable(text));
}

int Refuse(const QString& why, const QString& way)
{
    Complain(u"%1 See %2 --help"_s.arg(why, way));
    return WrongUsage;
}

QString Overview(const QList<Command>& commands, const QString& about, const QString& way)
{
    QString text = u"Usage: %1 COMMAND ...\n%2\n\nCommands:\n"_s.arg(way, about);
    for (const Command& command : commands)
        text += u"  %1 %2\n"_s.arg(command.name, -12).arg(command.summary);
    return text + u"\n%1 COMMAND --help tells more."_s.arg(way);
}

} // namespace

int RunOneOf(const QList<Command>& commands, const QString& about, const QStringList& words)
{
    const QString& way = words.first();
    const QString name = words.value(1);
    if (name.isEmpty())
        return Refuse(u"A command is missing."_s, way);
    if (name == "--help"_L1 || name == "-h"_L1) {
        Print(stdout, Overview(commands, about, way));
        return Done;
    }
    if (name == "--version"_L1) {
        Print(stdout, QCoreApplication::applicationVersion());
        return Done;
    }
    const auto command =
        std::find_if(commands.begin(), commands.end(), [&](const Command& known) { return known.name == name; });
    if (command == commands.end())
        return Refuse(u"There is no command \"%1\"."_s.arg(name), way);
    return command->run(QStringList{way + u' ' + name} + words.mid(2));
}

CommandLine::CommandLine(const QString& about, Takes takes_) : takes(takes_)
{
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions); // "-settings", as the daemon has it
    parser.setApplicationDescription(about);
    parser.addOption({{u"h"_s, u"help"_s}, u"Tells this."_s});
    parser.addOption({u"settings"_s, u"The daemon's settings file (default %1)."_s.arg(DefaultSettings()), u"file"_s});
    if (takes == Takes::GlobalIds)
        parser.addPositionalArgument(u"global_id"_s, u"The meter's key in the register."_s, u"GLOBAL_ID..."_s);
    else if (takes != Takes::Nothing)
        parser.addPositionalArgument(u"file"_s, u"The register as comma-separated values."_s,
            takes == Takes::File ? u"FILE.csv"_s : u"[FILE.csv]"_s);
}

void CommandLine::AddOption(
    const QString& name, const QString& meaning, const QString& about, const QString& defaultValue)
{
    parser.addOption({name, about, meaning, defaultValue});
}

std::optional<int> CommandLine::Parse(const QStringList& words)
{
    const QString& way = words.first();
    if (!parser.parse(words))
        return Refuse(parser.errorText(), way);
    if (parser.isSet(u"help"_s)) {
        const QString usage = u"Usage: "_s;
        Print(stdout,
            parser.helpText().replace(usage + QCoreApplication::arguments().constFirst(), usage + way).trimmed());
        return Done;
    }
    const QStringList given = parser.positionalArguments();
    if (given.isEmpty() && takes == Takes::File)
        return Refuse(u"A file is missing."_s, way);
    if (given.isEmpty() && takes == Takes::GlobalIds)
        return Refuse(u"A global_id is missing."_s, way);
    if (takes != Takes::GlobalIds && given.size() > (takes == Takes::Nothing ? 0 : 1))
        return Refuse(u"Too many words: \"%1\"."_s.arg(given.constLast()), way);
    return std::nullopt;
}

std::optional<SysVar> CommandLine::Settings() const
{
    SettingsFile settings = OpenSettings(NamedSettings(), DefaultSettings());
    const SysVar vars = ReadSysVar(settings);
    const QStringList problems = settings.Problems();
    if (problems.isEmpty())
        return vars;
    static_cast<void>(ComplainOfAll(problems));
    Complain(u"Nothing is done while the settings have problems."_s);
    return std::nullopt;
}

QString DefaultSettings()
{
    return QCoreApplication::applicationDirPath() + "/ravelin.ini"_L1;
}

SettingsFile OpenSettings(const QString& named, const QString& otherwise)
{
    const QString name = named.isEmpty() ? otherwise : named;
    return named.isEmpty() && !QFileInfo::exists(name) ? SettingsFile() : SettingsFile(name);
}

void Tell(const QString& sentence)
{
    Print(stdout, sentence);
}

void Complain(const QString& sentence)
{
    Print(stderr, "ravelinctl: "_L1 + sentence);
}

int ComplainOfAll(const QStringList& problems)
{
    for (const QString& problem : problems)
        Complain(problem);
    return Problems;
}
