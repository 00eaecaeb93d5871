#pragma once

#include <QSet>
#include <QString>

/// One thing that the daemon cannot work without: its modem, its database, its administrator. What is wrong with it is
/// told on stderr, which is the journal of a service, also with the setting "Log" off. The caller decides whether the
/// log tells it too.
class Necessity final {
public:
    /// It does not work. `text`, a sentence for the operator, names the thing and the reason: the same one is told
    /// once, until Works(). True when it is told now.
    bool Fails(const QString& text);

    /// It works. Tells `text`, unless no failure had been told. True when it is told.
    bool Works(const QString& text);

private:
    QSet<QString> told;
};
