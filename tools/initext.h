#pragma once

#include <QList>
#include <QString>

/// A line of an ini file, split the way that the settings' format splits it but not yet decoded.
struct IniLine {
    enum class Kind {
        Group,
        Value,
        Stray, ///< neither [group] nor key=value
    };

    Kind kind;
    int number; ///< in the file, from 1; where it begins
    QString group; ///< that it stands in, or makes
    QString key; ///< without the group; of Stray, all of the line
    QString value; ///< all behind the "=", blanks and quotes too; with line feeds when it goes on in further lines
    bool isCut; ///< ends at a semicolon that stands directly behind a character of the value
};

/// Comments and empty lines are left out.
[[nodiscard]] QList<IniLine> IniLines(const QString& text);
