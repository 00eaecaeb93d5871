#pragma once

#include <QString>

/// A stranger's text in a table of comma-separated values: harmless, and no formula to a spreadsheet.
[[nodiscard]] QString CsvText(const QString& text);
