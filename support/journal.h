#pragma once

#include <QString>

/// How much a line concerns the operator; the numbers are the journal's.
enum class Severity : quint8 {
    Error = 3, ///< what the daemon cannot work without fails
    Warning = 4, ///< something is wrong, the work goes on
    Info = 6,
    Debug = 7,
};

/// The journal of the service manager, when it reads this process's stderr or stdout. Each line says how severe it is.
/// Elsewhere nothing here writes or changes anything.
namespace Journal {

/// Looks whether stderr, or else stdout, is the journal. If stderr is, the debug output gets its severities, too.
void Attach();

/// Who writes a line. What a Necessity tells, the log mostly tells at the same moment: one of the two is enough.
enum class Source : quint8 { Log, Necessity };

/// Writes one line. Line ends in `text` become blanks. Without a journal nothing.
void Write(Severity severity, const QString& text, Source source);

/// Whether stderr is the journal: what is written there otherwise goes through Write() then.
[[nodiscard]] bool IsStderr();

} // namespace Journal
