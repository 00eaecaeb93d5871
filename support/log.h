#pragma once

#include "appendfile.h"
#include "journal.h"

/// The process's log: one line for each message, "2014-03-04T08:30:00.123 text". No failure is returned: when the file
/// cannot be written, stderr tells so once (and again when the reason changes), and the next message is tried again.
class TLog final {
public:
    explicit TLog(const QString& fileName);

    /// Appends one line, also to the journal if there is one. Line ends behind `text` are removed, a line end inside it
    /// becomes a blank; blanks stay, they are part of the text. Nothing is written while output is switched off.
    void Message(const QString& text, Severity severity = Severity::Info);

    /// As Message(), also while output is switched off: for what the operator must see when the settings, "Log" among
    /// them, could not be read.
    void Alert(const QString& text, Severity severity = Severity::Warning);

    /// Output is on in a new log.
    void Enabled(bool on) { enabled = on; }

    [[nodiscard]] QString Path() const { return file.Path(); }

    /// The default log of the program with base name `baseName`: /var/log/ravelin/<baseName>.log when that can be
    /// written, else the same file name under $XDG_STATE_HOME/ravelin or ~/.local/state/ravelin.
    [[nodiscard]] static QString getDirPathDefault(const QString& baseName);

    /// The setting "Log"; 0 means off. Part of the given interface; the daemon sets it, and nothing reads it: Enabled()
    /// is what switches.
    int Level = 0;

private:
    AppendFile file;
    bool enabled = true;
    QString reportedError;
};

/// The one log of the process; null until the settings are loaded.
extern TLog* pLog;

/// pLog->Message(), or nothing while there is no log.
void Log(const QString& text, Severity severity = Severity::Info);
