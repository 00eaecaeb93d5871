#pragma once

#include <QJsonObject>
#include <QString>

/// Texts that strangers chose, as a terminal may get them. Control and format characters would otherwise write over
/// what stands there, or worse.
namespace TerminalText {

/// One line: such characters are shown as escapes, "\u{1b}". Without the limit of Shown().
[[nodiscard]] QString OfLine(const QString& text);

/// Several lines, each as OfLine().
[[nodiscard]] QString OfLines(const QString& text);

enum class Json { Indented, OneLine };

/// The same object, such characters as JSON's own escapes.
[[nodiscard]] QString OfJson(const QJsonObject& object, Json form);

} // namespace TerminalText
