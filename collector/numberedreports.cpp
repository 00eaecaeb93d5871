#include "numberedreports.h"

std::optional<NumberedReports::EarlyReport> NumberedReports::Accepted(quint8 number)
{
    if (unnumbered.isEmpty())
        return std::nullopt;
    const QByteArray uin = unnumbered.takeFirst();
    if (const auto found = early.constFind(number); found != early.constEnd()) {
        const bool delivered = *found;
        early.erase(found);
        return EarlyReport{uin, delivered};
    }
    numbered.insert(number, uin);
    return std::nullopt;
}

std::optional<QByteArray> NumberedReports::Take(quint8 number, bool delivered)
{
    const auto found = numbered.constFind(number);
    if (found == numbered.constEnd()) {
        if (!unnumbered.isEmpty())
            early.insert(number, delivered);
        return std::nullopt;
    }
    const QByteArray uin = *found;
    numbered.erase(found);
    return uin;
}

void NumberedReports::Forget()
{
    unnumbered.clear();
    numbered.clear();
    early.clear();
}
