#pragma once

#include <QDateTime>
#include <QRegularExpression>
#include <QString>

/// When something is due: a regular expression that is searched, unanchored, in a stamp of the time. Day of the month,
/// hour and minute can be told apart, nothing else.
namespace Schedule {

/// "dd hh:mm".
[[nodiscard]] QString Stamp(const QDateTime& time);

/// `pattern` as it is searched. "{,n}" means at most n.
[[nodiscard]] QRegularExpression Expression(const QString& pattern);

/// Whether `pattern` names the minute of `time`.
[[nodiscard]] bool IsDueIn(const QString& pattern, const QDateTime& time);

/// A pattern that is no regular expression matches nothing.
[[nodiscard]] bool Matches(const QString& pattern, const QString& stamp);

/// The same, for one pattern and many stamps.
[[nodiscard]] bool Matches(const QRegularExpression& pattern, const QString& stamp);

/// Why `pattern` is no regular expression; empty if it is one.
[[nodiscard]] QString ErrorIn(const QString& pattern);

} // namespace Schedule
