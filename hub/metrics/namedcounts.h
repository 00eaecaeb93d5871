#pragma once

#include <QMap>
#include <QString>

/// Events counted by a name that may come from a stranger: of more than `MostNames` names the rest is counted as
/// "other".
class NamedCounts final {
public:
    static constexpr int MostNames = 300;

    void Count(const QString& name);

    [[nodiscard]] const QMap<QString, quint64>& All() const { return counts; }

private:
    QMap<QString, quint64> counts;
};
