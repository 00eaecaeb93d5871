#pragma once

#include <QByteArrayView>
#include <QString>

/// A text that a stranger chose, UTF-8, as it may stand in a line of the log: its first 200 characters, then "..." when
/// there are more. Control and format characters and line separators are shown as escapes, "\u{1b}".
[[nodiscard]] QString Shown(QByteArrayView utf8);
