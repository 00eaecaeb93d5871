#pragma once

#include "sourcetable.h"

/// Rows as PostgreSQL takes them in bulk (COPY, text format): fields between tabs, a line feed behind each row. Pure.
namespace CopyText {

/// A value of any type. A backslash and control characters are escaped, so that no value can end its field or its row;
/// NULL is "\N".
[[nodiscard]] QByteArray Field(const QVariant& value);

/// With the line feed.
[[nodiscard]] QByteArray Line(const QVariantList& values);

/// Tells two lines apart: 64 bits of SHA-256, never 0.
[[nodiscard]] qint64 Digest(QByteArrayView line);

/// Why the centre must not be given this row although it might take it, for a person; empty when it may. PostgreSQL
/// reads words as dates ("now", "tomorrow") and dates in other spellings: what was stored would differ from what was
/// read.
[[nodiscard]] QString Objection(const SourceTable& table, const QVariantList& values);

/// For a person and for a repair: an object of column names and values.
[[nodiscard]] QByteArray Json(const SourceTable& table, const QVariantList& values);

} // namespace CopyText
