#pragma once

#include <QSettings>
#include <QString>
#include <QStringList>

#include <memory>

/// An ini file as an operator leaves it: whatever is wrong with the file or with a value, the default applies, and the
/// problem is remembered until it can be reported. Line ends may be CRLF, and the file may begin with a UTF-8
/// byte-order mark. Keys are written "Group/Key".
class SettingsFile final {
public:
    /// No file, and nothing wrong with that.
    SettingsFile();
    /// Opens `fileName` for reading. A file that is missing, not a regular file, unreadable, binary or larger than 1
    /// MiB is read as empty.
    explicit SettingsFile(const QString& fileName);

    /// The value as text. A value that the ini format split at its commas is joined again.
    [[nodiscard]] QString Text(const QString& key, const QString& defaultValue) const;

    /// The value as a decimal 32-bit signed number.
    [[nodiscard]] int Integer(const QString& key, int defaultValue);

    /// The value as a finite decimal number with a point.
    [[nodiscard]] double Real(const QString& key, double defaultValue);

    /// All that the file sets, used or not. Keys of no group have no slash.
    [[nodiscard]] QStringList Keys() const { return settings->allKeys(); }

    /// Why the file was not read (properly), a sentence; empty when it was.
    [[nodiscard]] QString FileProblem() const { return fileProblem; }
    /// FileProblem(), if so, then each value met so far that was of the wrong type: one sentence
    /// each.
    [[nodiscard]] QStringList Problems() const;
    /// Counts the problems of `named`, a file that a value of this one named, among the values' problems.
    void TakeProblems(const SettingsFile& named) { valueProblems += named.Problems(); }

    /// A sentence about a value that its reader found wrong.
    void AddProblem(const QString& sentence);

    /// Writes to the log, whether or not it is switched on, why the file was not read (properly), if so.
    void ReportFileProblem() const;
    /// Writes each value met so far that was of the wrong type as one line to the log, whether or not it is switched
    /// on.
    void ReportValueProblems() const;

private:
    template <typename Number>
    Number Converted(const QString& key, Number defaultValue, Number (*convert)(const QString&, bool*));

    QString fileName;
    QString fileProblem;
    QStringList valueProblems;
    std::unique_ptr<QSettings> settings;
};
