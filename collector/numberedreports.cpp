#include "numberedreports.h"

std::optional<NumberedReports::EarlyReport> NumberedReports::Accepted(quint8 number)
{
    if (unnumbered.isEmpty())
        return std::nullopt;
    const QByteArray uin = unnumbered.takeFirst();
    if (early.contains(number))
        return EarlyReport{uin, early.take(number)};
    numbered.insert(number, uin);
    return std::nullopt;
}

std::optional<QByteArray> NumberedReports::Take(quint8 number, bool delivered)
{
    if (numbered.contains(number))
        return numbered.take(number);
    if (!unnumbered.isEmpty())
        early.insert(number, delivered);
    return std::nullopt;
}

void NumberedReports::NumberIsLost()
{
    if (!unnumbered.isEmpty())
        unnumbered.removeFirst();
    if (unnumbered.isEmpty())
        early.clear();
}

void NumberedReports::Forget()
{
    unnumbered.clear();
    numbered.clear();
    early.clear();
}
