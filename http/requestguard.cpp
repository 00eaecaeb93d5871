#include "requestguard.h"

#include "shown.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

QList<QByteArray> Values(const RequestHead& head, QByteArrayView name)
{
    QList<QByteArray> values;
    for (const auto& [key, value] : head.headers)
        if (key == name)
            values += value;
    return values;
}

/// The host in "host", "host:port" or "[address]:port"; nothing when it is none of these.
std::optional<QString> HostIn(QByteArrayView text)
{
    const qsizetype bracket = text.indexOf(']');
    const bool isBracketed = text.startsWith('[');
    if (isBracketed && bracket < 0)
        return {};
    const qsizetype colon = text.indexOf(':', isBracketed ? bracket : 0);
    const QByteArrayView before = colon < 0 ? text : text.first(colon);
    const QByteArrayView rest = text.sliced(before.size());
    if (isBracketed && before.size() != bracket + 1)
        return {};
    const QByteArrayView host = isBracketed ? before.sliced(1, bracket - 1) : before;
    const bool hasPort = rest.startsWith(':') && rest.size() > 1 && rest.size() <= 6
        && std::all_of(rest.begin() + 1, rest.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (host.isEmpty() || (!rest.isEmpty() && !hasPort))
        return {};
    QString name = QString::fromLatin1(host).toLower();
    if (name.endsWith('.'_L1))
        name.chop(1);
    return name;
}

bool IsOurs(const QString& host, const ServerNames& server)
{
    if (host == "localhost"_L1 || server.names.contains(host, Qt::CaseInsensitive))
        return true;
    const QHostAddress address(host);
    return !address.isNull() && address.isEqual(server.address, QHostAddress::ConvertV4MappedToIPv4);
}

} // namespace

std::optional<HttpResponse> RefuseFraming(const RequestHead& head, qsizetype bodyBytes)
{
    const QList<QByteArray> hosts = Values(head, "host");
    if (hosts.size() > 1 || (hosts.isEmpty() && head.version != "HTTP/1.0"))
        return ErrorResponse(400, u"a request has one Host header"_s);

    for (const auto& [name, value] : head.headers)
        if (!std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 0x7F; }))
            return ErrorResponse(400, u"a header's name has a blank or a control character in it"_s);

    const QList<QByteArray> lengths = Values(head, "content-length");
    const QList<QByteArray> codings = Values(head, "transfer-encoding");
    if (lengths.size() > 1 || (!codings.isEmpty() && !lengths.isEmpty()))
        return ErrorResponse(400, u"the length of the request's body is told twice"_s);
    if (!codings.isEmpty() && (codings.size() > 1 || codings.first().toLower() != "chunked"))
        return ErrorResponse(501, u"of transfer codings only \"chunked\" is known"_s);
    if (lengths.isEmpty())
        return {};
    const QByteArray& digits = lengths.first();
    if (digits.isEmpty() || !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return ErrorResponse(400, u"Content-Length is not a number"_s);
    bool fits = false;
    if (digits.toLongLong(&fits) > bodyBytes || !fits)
        return ErrorResponse(413, u"a request's body has at most %1 bytes"_s.arg(bodyBytes));
    return {};
}

std::optional<HttpResponse> RefuseForeign(const RequestHead& head, const ServerNames& server)
{
    const QByteArray host = Values(head, "host").value(0);
    const std::optional<QString> name = HostIn(host);
    if (!name || !IsOurs(*name, server))
        return ErrorResponse(403, u"this server is not called \"%1\""_s.arg(Shown(host)));
    for (const QByteArray& origin : Values(head, "origin")) {
        const QByteArray lower = origin.toLower();
        if (lower != "http://" + host.toLower() && lower != "https://" + host.toLower())
            return ErrorResponse(403, u"pages of \"%1\" may not ask this server"_s.arg(Shown(origin)));
    }
    return {};
}
