#include "settingscheck.h"

#include "calendar.h"
#include "command.h"
#include "schedule.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 LargestFile = qint64{1024} * 1024; // more is not read as settings

enum class KeptIn { Main, Bus, Database };

struct Key {
    QLatin1StringView name;
    KeptIn file;
    QString (*inForce)(const SysVar& vars); ///< null: as it stands in the file
    QLatin1StringView fallback;
};

template <auto Field>
QString Shown(const SysVar& vars)
{
    if constexpr (std::is_same_v<decltype(Field), QString SysVar::*>)
        return vars.*Field;
    else
        return QString::number(vars.*Field);
}

QString Hidden(const SysVar& vars)
{
    return vars.SqlPassword.isEmpty() ? QString() : u"***"_s;
}

template <auto Field>
constexpr Key Of(const char* name, KeptIn file = KeptIn::Main)
{
    return {QLatin1StringView(name), file, Shown<Field>, {}};
}

constexpr Key Text(const char* name, KeptIn file, const char* fallback)
{
    return {QLatin1StringView(name), file, nullptr, QLatin1StringView(fallback)};
}

constexpr std::array<Key, 25> Keys{{
    Of<&SysVar::PortKS>("Main/PortKS"),
    Of<&SysVar::PortCounterKTP>("Main/PortCounterKTP"),
    Of<&SysVar::PortAlarmButton>("Main/PortAlarmButton"),
    Of<&SysVar::CounterKTPMultiplier>("Main/CounterKTPMultiplier"),
    Of<&SysVar::BCAST_to_UCAST_Delay>("Main/BCAST_to_UCAST_Delay"),
    Of<&SysVar::UCAST_to_UCAST_Delay>("Main/UCAST_to_UCAST_Delay"),
    Of<&SysVar::RepeateQueryKTPNumber>("Main/RepeateQueryKTPNumber"),
    Of<&SysVar::RepeatQueryNumber>("Main/RepeatQueryNumber"),
    Of<&SysVar::TimeOfQuery>("Main/TimeOfQuery"),
    Of<&SysVar::TimeOfSetTime>("Main/TimeOfSetTime"),
    Of<&SysVar::TimeOfGetTime>("Main/TimeOfGetTime"),
    Of<&SysVar::NtpServer>("Main/NtpServer"),
    Text("Base/LogName", KeptIn::Bus, ""),
    Text("Base/Log", KeptIn::Bus, "0"),
    Text("Base/AdminServerName", KeptIn::Bus, "NoName"),
    Text("Base/ServerName", KeptIn::Bus, "NoName"),
    Text("Base/Connections", KeptIn::Bus, "NoName"),
    Text("Field/BusUsers", KeptIn::Bus, ""),
    Text("Base/BaseIni", KeptIn::Main, ""),
    Of<&SysVar::BDType>("Base/BDType", KeptIn::Database),
    Of<&SysVar::BaseName>("Base/BaseName", KeptIn::Database),
    Of<&SysVar::SqlHostName>("Base/SqlHostName", KeptIn::Database),
    Of<&SysVar::SqlPort>("Base/SqlPort", KeptIn::Database),
    Of<&SysVar::SqlLogin>("Base/SqlLogin", KeptIn::Database),
    {QLatin1StringView("Base/SqlPassword"), KeptIn::Database, Hidden, {}},
}};

struct Range {
    QLatin1StringView key;
    int least;
    int most;
    QLatin1StringView beyond;
};

constexpr QLatin1StringView LowBitsCount("only the low bits of it count");
constexpr std::array<Range, 4> Ranges{{
    {QLatin1StringView("Main/BCAST_to_UCAST_Delay"), 1, 65535, LowBitsCount},
    {QLatin1StringView("Main/UCAST_to_UCAST_Delay"), 1, 65535, LowBitsCount},
    {QLatin1StringView("Main/RepeateQueryKTPNumber"), 0, 255, LowBitsCount},
    {QLatin1StringView("Main/RepeatQueryNumber"), 0, 127,
        QLatin1StringView("of it the low 8 bits count, and a sweep never makes the 128th pass nor ends")},
}};

struct Pattern {
    QLatin1StringView key;
    QString SysVar::*text;
    Due due;
};

constexpr std::array<Pattern, 3> Patterns{{
    {QLatin1StringView("Main/TimeOfQuery"), &SysVar::TimeOfQuery, QuerySweep},
    {QLatin1StringView("Main/TimeOfSetTime"), &SysVar::TimeOfSetTime, ClockSetting},
    {QLatin1StringView("Main/TimeOfGetTime"), &SysVar::TimeOfGetTime, TimeSweep},
}};

/// How many letters must be changed, put in or left out to make `b` of `a`.
qsizetype Distance(const QString& a, const QString& b)
{
    QList<qsizetype> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (qsizetype i = 0; i < a.size(); ++i) {
        qsizetype diagonal = std::exchange(row[0], i + 1);
        for (qsizetype j = 0; j < b.size(); ++j) {
            const qsizetype best =
                std::min({row[j] + 1, row[j + 1] + 1, diagonal + (a[i].toLower() == b[j].toLower() ? 0 : 1)});
            diagonal = std::exchange(row[j + 1], best);
        }
    }
    return row.last();
}

QString WithoutGroup(const QString& key)
{
    return key.mid(key.lastIndexOf(u'/') + 1);
}

/// The known key that `key` is most like; empty when it is like none.
QString LikelyKey(const QString& key)
{
    constexpr qsizetype FarthestLikely = 3;
    QString likely;
    qsizetype least = FarthestLikely + 1;
    for (const QString& known : SettingsCheck::KnownKeys()) {
        const qsizetype distance = Distance(WithoutGroup(key), WithoutGroup(known));
        if (distance < least) {
            least = distance;
            likely = known;
        }
    }
    return likely;
}

} // namespace

SettingsCheck::SettingsCheck(const QString& named)
    : main{named.isEmpty() ? DefaultSettings() : named, OpenSettings(named, DefaultSettings())},
      bus{named.isEmpty() ? u"/etc/ravelin/ravelin.ini"_s : named, OpenSettings(named, u"/etc/ravelin/ravelin.ini"_s)},
      vars(ReadSysVar(main.settings))
{
    if (const QString name = main.settings.Text(u"Base/BaseIni"_s, {}); !name.isEmpty())
        base = std::make_unique<File>(File{name, SettingsFile(name)});
    static_cast<void>(bus.settings.Integer(u"Base/Log"_s, 0)); // a wrong type is then among the problems
}

QString SettingsCheck::LogName() const
{
    return bus.settings.Text(u"Base/LogName"_s, {});
}

QStringList SettingsCheck::InForce() const
{
    QStringList lines;
    for (const Key& key : Keys) {
        const File& file = key.file == KeptIn::Bus ? bus : key.file == KeptIn::Database && base ? *base : main;
        const QString value = key.inForce ? key.inForce(vars) : file.settings.Text(key.name, key.fallback);
        const QString origin = file.settings.Keys().contains(key.name) ? file.name : u"default"_s;
        lines.append(u"%1 = %2 (%3)"_s.arg(key.name, value, origin));
    }
    return lines;
}

QStringList SettingsCheck::Problems() const
{
    QStringList problems =
        main.settings.Problems() + bus.settings.Problems() + KeyProblems() + EscapeProblems() + ValueProblems();
    problems.removeDuplicates(); // one file for all is read twice
    return problems;
}

QStringList SettingsCheck::KnownKeys()
{
    QStringList names;
    for (const Key& key : Keys)
        names.append(key.name);
    return names;
}

QList<const SettingsCheck::File*> SettingsCheck::Files() const
{
    QList<const File*> files{&main, &bus};
    if (base)
        files.append(base.get());
    return files;
}

// Other groups are other programs' business, unless they hold a key of the daemon's.
QStringList SettingsCheck::KeyProblems() const
{
    QStringList problems;
    for (const File* const file : Files()) {
        for (const QString& key : file->settings.Keys()) {
            if (KnownKeys().contains(key))
                continue;
            const QString likely = LikelyKey(key);
            const bool ours = key.startsWith("Main/"_L1) || key.startsWith("Base/"_L1) || key.startsWith("Field/"_L1)
                || (!likely.isEmpty() && WithoutGroup(key) == WithoutGroup(likely));
            if (ours)
                problems.append(u"%1: %2 is no key of the daemon's"_s.arg(file->name, key)
                    + (likely.isEmpty() ? QString() : u"; is %1 meant?"_s.arg(likely)));
        }
    }
    return problems;
}

// The format takes them away silently, and what is left of a pattern may well be one. A ";" outside quotes begins a
// comment.
QStringList SettingsCheck::EscapeProblems() const
{
    static const QRegularExpression line(uR"(
            ^\s* (?: \[ (?<group>[^\]\n]*) \]
                  | (?<key>[^;=\[\s][^;=\n]*?) \s* =
                    (?: [^;"\\\n] | \\[\\"x] | "(?:[^"\\\n]|\\[\\"x])*" )*
                    (?: "(?:[^"\\\n]|\\[\\"x])* )?
                    (?<lost>\\[^\\"x\n]) ))"_s,
        QRegularExpression::MultilineOption | QRegularExpression::ExtendedPatternSyntaxOption);
    QStringList problems;
    for (const File* const file : Files()) {
        QFile contents(file->name);
        if (!QFileInfo(file->name).isFile() || !contents.open(QIODevice::ReadOnly))
            continue;
        const QString text = QString::fromUtf8(contents.read(LargestFile));
        QString group;
        for (const QRegularExpressionMatch& match : line.globalMatch(text)) {
            if (match.hasCaptured("group"_L1))
                group = match.captured("group"_L1).trimmed();
            else if (group == "Base"_L1 || group == "Main"_L1)
                problems.append(
                    u"%1: in %2, %3 is an escape of the file's format and does not stay; write two backslashes"_s.arg(
                        file->name, match.captured("key"_L1), match.captured("lost"_L1)));
        }
    }
    return problems;
}

QStringList SettingsCheck::ValueProblems() const
{
    QStringList problems;
    for (const Range& range : Ranges) {
        bool isNumber = false;
        const int value = main.settings.Text(range.key, {}).toInt(&isNumber);
        if (isNumber && (value < range.least || value > range.most))
            problems.append(
                u"%1 must be from %2 to %3, not %4: %5"_s.arg(range.key)
                    .arg(range.least)
                    .arg(range.most)
                    .arg(value)
                    .arg(value == 0 ? "the modem would have no time between two messages"_L1 : range.beyond));
    }
    if (vars.CounterKTPMultiplier <= 0)
        problems.append(u"Main/CounterKTPMultiplier must be more than 0, not %1"_s.arg(vars.CounterKTPMultiplier));

    const Calendar calendar(vars);
    for (const Pattern& pattern : Patterns) {
        const int minutes = calendar.MinutesOf(pattern.due);
        QString why = Schedule::ErrorIn(vars.*pattern.text);
        if (why.isEmpty() && minutes == 0)
            why = u"no time \"dd hh:mm\" matches"_s;
        else if (why.isEmpty() && minutes == Calendar::MinutesOfMonth)
            why = u"every minute matches"_s;
        if (!why.isEmpty())
            problems.append(u"%1, \"%2\": %3"_s.arg(pattern.key, vars.*pattern.text, why));
    }
    for (const auto& name : {"Base/AdminServerName"_L1, "Base/ServerName"_L1, "Base/Connections"_L1}) {
        const QString value = bus.settings.Text(name, u"NoName"_s);
        if (value == "NoName"_L1)
            problems.append(u"%1 is not set (NoName)"_s.arg(name));
        else if (value.isEmpty() && name != "Base/Connections"_L1) // there may be no peers
            problems.append(u"%1 is empty"_s.arg(name));
    }
    return problems;
}
