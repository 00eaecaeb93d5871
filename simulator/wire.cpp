#include "wire.h"

#include <algorithm>
#include <utility>

Moment Wire::Duration(qsizetype size) const
{
    return baudRate > 0 ? Moment(size * 10 * 1'000'000 / baudRate) : Moment(0);
}

void Wire::Send(const QByteArray& bytes, Moment now)
{
    free = std::max(free, now) + Duration(bytes.size());
    writes.push_back({free, bytes});
}

void Wire::Cut(Moment now)
{
    while (!writes.empty() && writes.back().at > now)
        writes.pop_back();
    free = now;
}

std::optional<Moment> Wire::NextDue() const
{
    return writes.empty() ? std::nullopt : std::optional(writes.front().at);
}

QByteArray Wire::Take(Moment now)
{
    if (writes.empty() || writes.front().at > now)
        return {};
    QByteArray bytes = std::move(writes.front().bytes);
    writes.pop_front();
    return bytes;
}
