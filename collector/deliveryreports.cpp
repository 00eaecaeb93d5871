#include "deliveryreports.h"

void DeliveryReports::Sent(const QByteArray& uin)
{
    if (match == Match::ByNumber)
        numbered.Sent(uin);
    else
        awaitingAck.append(uin);
}

std::optional<DeliveryReports::EarlyReport> DeliveryReports::Accepted(quint8 number)
{
    if (match != Match::ByNumber)
        return std::nullopt;
    const std::optional<EarlyReport> report = numbered.Accepted(number);
    if (report)
        Book(report->uin, report->delivered);
    return report;
}

std::optional<QByteArray> DeliveryReports::TakeReport(quint8 number, bool delivered)
{
    std::optional<QByteArray> uin;
    if (match == Match::ByNumber)
        uin = numbered.Take(number, delivered);
    else if (!awaitingAck.isEmpty())
        uin = awaitingAck.takeFirst();
    if (uin)
        Book(*uin, delivered);
    return uin;
}

/// Matched by number, the delivery of a read-out does not hide that its answer could not be decoded.
void DeliveryReports::Book(const QByteArray& uin, bool delivered)
{
    unsigned char& state = meterState[uin];
    if (match == Match::ByNumber && delivered && state == Undecodable)
        return;
    state = delivered ? NodeHeard : DeliveryFailed;
}
