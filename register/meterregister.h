#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <array>

/// One meter of the register as text, the way it was found in a file or in the table "Counters".
struct RegisterRow {
    QString place; ///< where it was found, for a person: "meters.csv, line 5"
    QString globalId;
    QString uin;
    QString number;
    QString model;
    QString type;
    QString kiNumber;
};

struct RegisterColumn {
    QLatin1StringView name; ///< in the table and in the header of a file
    QString RegisterRow::*field;
};

inline constexpr std::array<RegisterColumn, 6> RegisterColumns{{
    {QLatin1StringView("global_id"), &RegisterRow::globalId},
    {QLatin1StringView("UIN"), &RegisterRow::uin},
    {QLatin1StringView("Number"), &RegisterRow::number},
    {QLatin1StringView("Model"), &RegisterRow::model},
    {QLatin1StringView("Type"), &RegisterRow::type},
    {QLatin1StringView("KI_Number"), &RegisterRow::kiNumber},
}};

/// Each fault with which the daemon could not use `rows` as its register, as one sentence. Empty when all is right.
[[nodiscard]] QStringList RegisterProblems(const QList<RegisterRow>& rows);

/// "meters behind nodes: 12, substation meters: 1".
[[nodiscard]] QString RegisterSummary(const QList<RegisterRow>& rows);

/// What an import of `incoming`, which holds no meter twice, makes of a register.
struct RegisterChange {
    QList<RegisterRow> added;
    QList<RegisterRow> changed;
    QList<RegisterRow> unchanged; ///< as stored
    QList<RegisterRow> kept; ///< stored meters that `incoming` does not name
};
[[nodiscard]] RegisterChange PlannedChange(const QList<RegisterRow>& stored, const QList<RegisterRow>& incoming);
