#pragma once

#include "meterregister.h"

struct RegisterText {
    QList<RegisterRow> rows;
    QStringList problems; ///< what could not be read, a sentence each; the values of `rows` are not judged
};

/// Reads a register as a spreadsheet saves it: UTF-8 with or without byte-order mark, or UTF-16 with one, LF or CRLF;
/// the columns in any order under a header with their names, with nothing in further ones at the end; ";", tab or ","
/// between them, the first of these that the header has; values in double quotes where needed, blanks around values
/// ignored. Empty lines and lines that begin with "#" are skipped. `fileName` is for the places.
[[nodiscard]] RegisterText ParseRegisterCsv(const QString& fileName, QByteArrayView bytes);

/// As ParseRegisterCsv(), from the file; that it cannot be read at all is a problem like any other.
[[nodiscard]] RegisterText ReadRegisterCsv(const QString& fileName);
