#pragma once

#include <QString>
#include <QStringList>

/// As whom the tool looks at files and lines: what it may open, the daemon may when it runs as the same user.
struct Person {
    QString user;
    QStringList groups;
    bool isRoot = false;

    [[nodiscard]] static Person Looking();
};

/// Names; numbers for users and groups that have none.
[[nodiscard]] QString UserName(unsigned int id);
[[nodiscard]] QString GroupName(unsigned int id);
