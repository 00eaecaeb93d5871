#include "settingsfile.h"

#include "log.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 LargestFile = qint64{1024} * 1024;

QString Translated(const char* text)
{
    return QCoreApplication::translate("SettingsFile", text);
}

// Reads the file; on failure returns why it cannot be read at all.
QString Obstacle(const QString& fileName, QByteArray& contents)
{
    const QFileInfo info(fileName);
    if (!info.exists())
        return Translated(QT_TRANSLATE_NOOP("SettingsFile", "it does not exist"));
    if (!info.isFile())
        return Translated(QT_TRANSLATE_NOOP("SettingsFile", "it is not a regular file"));
    if (info.size() > LargestFile)
        return Translated(QT_TRANSLATE_NOOP("SettingsFile", "it is larger than a settings file can be"));
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString();
    contents = file.readAll();
    // A binary value of QSettings may claim gigabytes of memory in a few bytes, and no setting is one.
    if (contents.contains('\0') || contents.contains("@Variant(") || contents.contains("@DateTime("))
        return Translated(QT_TRANSLATE_NOOP("SettingsFile", "it is binary"));
    return {};
}

std::unique_ptr<QSettings> Parsed(const QString& fileName, const QByteArray& contents)
{
    const auto parse = [](const QString& name) {
        auto settings = std::make_unique<QSettings>(name, QSettings::IniFormat);
        static_cast<void>(settings->allKeys()); // parses every section: the status is known only then
        return settings;
    };
    // QSettings takes a byte-order mark for a bad line, so it gets a copy without.
    constexpr QByteArrayView ByteOrderMark("\xEF\xBB\xBF");
    QTemporaryFile copy;
    if (contents.startsWith(ByteOrderMark) && copy.open() && copy.write(contents.mid(ByteOrderMark.size())) >= 0
        && copy.flush())
        return parse(copy.fileName());
    return parse(fileName);
}

int ToInteger(const QString& text, bool* ok)
{
    return text.toInt(ok);
}

double ToFiniteReal(const QString& text, bool* ok)
{
    const double value = text.toDouble(ok);
    *ok = *ok && std::isfinite(value);
    return value;
}

} // namespace

SettingsFile::SettingsFile() : settings(Parsed(u"/dev/null"_s, {})) { }

SettingsFile::SettingsFile(const QString& fileName_) : fileName(fileName_)
{
    QByteArray contents;
    const QString obstacle = Obstacle(fileName, contents);
    settings = obstacle.isEmpty() ? Parsed(fileName, contents) : Parsed(u"/dev/null"_s, {});

    if (!obstacle.isEmpty()) {
        const char* const text = QT_TRANSLATE_NOOP("SettingsFile", "Settings file %1 is not read, defaults apply: %2");
        fileProblem = Translated(text).arg(fileName, obstacle);
    } else if (settings->status() != QSettings::NoError) {
        const char* const text =
            QT_TRANSLATE_NOOP("SettingsFile", "Settings file %1 has lines that are neither [group] nor key=value");
        fileProblem = Translated(text).arg(fileName);
    }
}

QString SettingsFile::Text(const QString& key, const QString& defaultValue) const
{
    const QVariant value = settings->value(key, defaultValue);
    return value.typeId() == QMetaType::QStringList ? value.toStringList().join(u',') : value.toString();
}

int SettingsFile::Integer(const QString& key, int defaultValue)
{
    return Converted(key, defaultValue, ToInteger);
}

double SettingsFile::Real(const QString& key, double defaultValue)
{
    return Converted(key, defaultValue, ToFiniteReal);
}

QStringList SettingsFile::Problems() const
{
    return fileProblem.isEmpty() ? valueProblems : QStringList{fileProblem} + valueProblems;
}

void SettingsFile::AddProblem(const QString& sentence)
{
    valueProblems.append(Translated(QT_TRANSLATE_NOOP("SettingsFile", "Settings file %1: %2")).arg(fileName, sentence));
}

void SettingsFile::ReportFileProblem() const
{
    if (pLog && !fileProblem.isEmpty())
        pLog->Alert(fileProblem);
}

void SettingsFile::ReportValueProblems() const
{
    for (const QString& problem : valueProblems)
        if (pLog)
            pLog->Alert(problem);
}

template <typename Number>
Number SettingsFile::Converted(const QString& key, Number defaultValue, Number (*convert)(const QString&, bool*))
{
    if (!settings->contains(key))
        return defaultValue;
    bool ok = false;
    const QString text = Text(key, {});
    const Number value = convert(text, &ok);
    if (ok)
        return value;
    const char* const message =
        QT_TRANSLATE_NOOP("SettingsFile", "Settings file %1: %2 is not a number: \"%3\". The default %4 applies");
    valueProblems.append(Translated(message).arg(fileName, key, text).arg(defaultValue));
    return defaultValue;
}
