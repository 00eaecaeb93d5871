#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>

#include <optional>

/// Finds the message that a delivery report is about by the number that the modem gave it. Numbers are used again. In a
/// chunk of the modem's a report may stand before the number that it is about.
class NumberedReports final {
public:
    void Sent(const QByteArray& uin) { unnumbered.append(uin); }

    /// The modem gave `number` to the oldest message without one. Returns the report that came before it, if so.
    struct EarlyReport {
        QByteArray uin;
        bool delivered;
    };
    std::optional<EarlyReport> Accepted(quint8 number);

    /// Whose message the report is about; none when it is not known yet.
    std::optional<QByteArray> Take(quint8 number, bool delivered);

    /// The oldest message without a number gets none.
    void NumberIsLost();

    /// Forgets the messages without a report: it was lost.
    void Forget();

private:
    QList<QByteArray> unnumbered;
    QHash<quint8, QByteArray> numbered;
    QHash<quint8, bool> early; // delivered or not
};
