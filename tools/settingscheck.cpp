#include "settingscheck.h"

#include "buscheck.h"
#include "calendar.h"
#include "formatcheck.h"
#include "likely.h"
#include "schedule.h"
#include "texts.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <array>

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

constexpr std::array<Key, 28> Keys{{
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
    Text("Field/Remedies", KeptIn::Main, ""),
    Text("Field/Pacing", KeptIn::Main, "fixed"),
    Text("Field/Window", KeptIn::Main, "4"),
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
    const char* beyond; ///< for Texts::tr()
};

constexpr const char* LowBitsCount = QT_TRANSLATE_NOOP("ravelinctl", "only the low bits of it count");
constexpr std::array<Range, 4> Ranges{{
    {QLatin1StringView("Main/BCAST_to_UCAST_Delay"), 1, 65535, LowBitsCount},
    {QLatin1StringView("Main/UCAST_to_UCAST_Delay"), 1, 65535, LowBitsCount},
    {QLatin1StringView("Main/RepeateQueryKTPNumber"), 0, 255, LowBitsCount},
    {QLatin1StringView("Main/RepeatQueryNumber"), 0, 127,
        QT_TRANSLATE_NOOP("ravelinctl", "of it the low 8 bits count, and a sweep never makes the 128th pass nor ends")},
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

QString WithoutGroup(const QString& key)
{
    return key.mid(key.lastIndexOf(u'/') + 1);
}

QString GroupOf(const QString& key)
{
    return key.left(std::max(key.indexOf(u'/'), qsizetype{0}));
}

/// The known key that `key` is most like, whatever its group; empty when it is like none.
QString LikelyKey(const QString& key)
{
    QStringList known = SettingsCheck::KnownKeys();
    QStringList names;
    for (const QString& one : known)
        names.append(WithoutGroup(one));
    const QString likely = LikelyOf(names, WithoutGroup(key));
    return likely.isEmpty() ? QString() : known[names.indexOf(likely)];
}

/// The groups that hold keys of the daemon's.
QStringList Groups()
{
    QStringList groups;
    for (const QString& key : SettingsCheck::KnownKeys())
        groups.append(GroupOf(key));
    groups.removeDuplicates();
    return groups;
}

/// Which key a sentence of the settings file's is about.
QString AboutOf(const QString& sentence)
{
    const QStringList words = sentence.split(u' ');
    for (const QString& key : SettingsCheck::KnownKeys())
        if (words.contains(key))
            return key;
    return u"settings"_s;
}

QString Contents(const QString& fileName)
{
    QFile file(fileName);
    if (!QFileInfo(fileName).isFile() || !file.open(QIODevice::ReadOnly))
        return {};
    const QString text = QString::fromUtf8(file.read(LargestFile));
    return text.startsWith(QChar::ByteOrderMark) ? text.mid(1) : text;
}

/// A file may be read by others only when they get through all directories to it.
bool OthersMayRead(const QString& fileName)
{
    QString path = QFileInfo(fileName).canonicalFilePath();
    if (path.isEmpty() || !QFileInfo(path).permission(QFile::ReadOther))
        return false;
    while (path != "/"_L1) {
        path = QFileInfo(path).path();
        if (!QFileInfo(path).permission(QFile::ExeOther))
            return false;
    }
    return true;
}

} // namespace

SettingsCheck::SettingsCheck(const QString& name) : main{name, SettingsFile(name)}, vars(ReadSysVar(main.settings))
{
    if (const QString named = main.settings.Text(u"Base/BaseIni"_s, {}); !named.isEmpty())
        base = std::make_unique<File>(File{named, SettingsFile(named)});
    static_cast<void>(main.settings.Integer(u"Base/Log"_s, 0)); // a wrong type is then among the problems
}

QString SettingsCheck::LogName() const
{
    return main.settings.Text(u"Base/LogName"_s, {});
}

QStringList SettingsCheck::FileNames() const
{
    QStringList names;
    for (const File* const file : Files())
        names.append(file->name);
    return names;
}

QList<SettingsCheck::Setting> SettingsCheck::InForce() const
{
    QList<Setting> settings;
    for (const Key& key : Keys) {
        const File& file = key.file == KeptIn::Database && base ? *base : main;
        const QString value = key.inForce ? key.inForce(vars) : file.settings.Text(key.name, key.fallback);
        settings.append({key.name, value, file.settings.Keys().contains(key.name) ? file.name : QString()});
    }
    return settings;
}

QStringList SettingsCheck::Secrets() const
{
    QStringList secrets;
    for (const File* const file : Files())
        for (const QString& key : file->settings.Keys())
            if (key.contains("pass"_L1, Qt::CaseInsensitive))
                secrets.append(file->settings.Text(key, {}));
    return secrets;
}

Findings SettingsCheck::Judge() const
{
    const auto text = [this](QLatin1StringView key) { return main.settings.Text(key, u"NoName"_s); };
    return ReadingFindings() + KeyFindings() + SecretFindings() + NumberFindings() + PatternFindings() + PlaceFindings()
        + BusFindings({.admin = text("Base/AdminServerName"_L1),
            .own = text("Base/ServerName"_L1),
            .peers = text("Base/Connections"_L1)});
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
    QList<const File*> files{&main};
    if (base)
        files.append(base.get());
    return files;
}

// Where the format is at fault, its own complaint names no line.
Findings SettingsCheck::ReadingFindings() const
{
    QStringList sentences = main.settings.Problems(); // the other file's are among them
    Findings ofFormat;
    for (const File* const file : Files()) {
        const Findings found = FormatFindings(file->name, Contents(file->name), Groups());
        const bool hasStray = std::any_of(
            found.begin(), found.end(), [](const Finding& finding) { return finding.about == "settings"_L1; });
        if (hasStray)
            sentences.removeAll(file->settings.FileProblem());
        ofFormat += found;
    }
    Findings findings;
    for (const QString& sentence : sentences)
        findings.append({AboutOf(sentence), sentence});
    return findings + ofFormat;
}

// Other groups are other programs' business, unless they hold a key of the daemon's.
Findings SettingsCheck::KeyFindings() const
{
    Findings findings;
    for (const File* const file : Files()) {
        for (const QString& key : file->settings.Keys()) {
            if (KnownKeys().contains(key) || key.startsWith(u'#') || key.contains("/#"_L1)) // that is no comment
                continue;
            const QString likely = LikelyKey(key);
            const bool ours =
                Groups().contains(GroupOf(key)) || (!likely.isEmpty() && WithoutGroup(key) == WithoutGroup(likely));
            if (!ours)
                continue;
            const QString text = Texts::tr("%1: %2 is no key of the daemon's").arg(file->name, key);
            findings.append({key, likely.isEmpty() ? text : text + Texts::tr("; is %1 meant?").arg(likely)});
        }
    }
    return findings;
}

Findings SettingsCheck::SecretFindings() const
{
    const auto key = u"Base/SqlPassword"_s;
    Findings findings;
    for (const File* const file : Files())
        if (!file->settings.Text(key, {}).isEmpty() && OthersMayRead(file->name))
            findings.append(
                {key, Texts::tr("%1: everybody can read the password (%2); chmod o= helps").arg(file->name, key)});
    return findings;
}

Findings SettingsCheck::NumberFindings() const
{
    Findings findings;
    for (const Range& range : Ranges) {
        bool isNumber = false;
        const int value = main.settings.Text(range.key, {}).toInt(&isNumber);
        if (isNumber && (value < range.least || value > range.most))
            findings.append({range.key,
                Texts::tr("%1 must be from %2 to %3, not %4: %5")
                    .arg(range.key)
                    .arg(range.least)
                    .arg(range.most)
                    .arg(value)
                    .arg(value == 0 ? Texts::tr("the modem would have no time between two messages")
                                    : Texts::tr(range.beyond))});
    }
    if (vars.CounterKTPMultiplier <= 0)
        findings.append({u"Main/CounterKTPMultiplier"_s,
            Texts::tr("Main/CounterKTPMultiplier must be more than 0, not %1").arg(vars.CounterKTPMultiplier)});
    if (vars.SqlPort != -1 && (vars.SqlPort < 1 || vars.SqlPort > 65535))
        findings.append(
            {u"Base/SqlPort"_s, Texts::tr("Base/SqlPort must be -1 or from 1 to 65535, not %1").arg(vars.SqlPort)});
    if (const auto key = u"Base/Log"_s; main.settings.Text(key, u"0"_s).toInt() == 0)
        findings.append(
            {key, Texts::tr("Base/Log is 0: nothing will be logged but what is wrong with the settings; set it to 1"),
                Finding::Weight::Hint});
    return findings;
}

Findings SettingsCheck::PatternFindings() const
{
    Findings findings;
    const Calendar calendar(vars);
    for (const Pattern& pattern : Patterns) {
        const int minutes = calendar.MinutesOf(pattern.due);
        QString why = Schedule::ErrorIn(vars.*pattern.text);
        if (why.isEmpty() && minutes == 0)
            why = Texts::tr("no time \"dd hh:mm\" matches");
        else if (why.isEmpty() && minutes == static_cast<int>(MinutesOfMonth))
            why = Texts::tr("every minute matches");
        if (!why.isEmpty())
            findings.append({pattern.key, u"%1, \"%2\": %3"_s.arg(pattern.key, vars.*pattern.text, why)});
    }
    return findings;
}

// Nobody knows in which directory a service manager starts the daemon.
Findings SettingsCheck::PlaceFindings() const
{
    Findings findings;
    for (const auto& key : {"Base/BaseIni"_L1, "Base/LogName"_L1})
        if (const QString name = main.settings.Text(key, {}); !name.isEmpty() && QFileInfo(name).isRelative())
            findings.append({key,
                Texts::tr("%1, %2: looked for in the directory that the daemon is started in; begin it with a slash")
                    .arg(key, name),
                Finding::Weight::Hint});
    return findings;
}
