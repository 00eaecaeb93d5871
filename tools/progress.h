#pragma once

#include <QDateTime>
#include <QString>

/// Tells a person at a terminal how far work is that takes longer than two seconds; nothing to anyone else.
class Progress final {
public:
    explicit Progress(const QString& what_);
    ~Progress(); ///< Takes its line away.
    Q_DISABLE_COPY_MOVE(Progress)

    /// `part` from 0 to 1. Cheap enough for each day of rows.
    void Reached(double part);

private:
    QString what;
    QDateTime begun;
    QDateTime told;
    bool isTerminal;
};
