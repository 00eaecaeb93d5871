#pragma once

#include "httpresponse.h"

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QStringList>

#include <optional>
#include <utility>

/// The head of a request as it stands on the wire.
struct RequestHead {
    QByteArray version; ///< "HTTP/1.1"
    QList<std::pair<QByteArray, QByteArray>> headers; ///< names in lower case, in order
};

/// By what names a request over TCP may call this server.
struct ServerNames {
    QHostAddress address; ///< where the connection arrived
    QStringList names; ///< beside "localhost"
};

/// What cannot be one request with one meaning, or announces more than `bodyBytes`: the answer to it. The library reads
/// such requests in its own way, and something in front of us may read them in another.
[[nodiscard]] std::optional<HttpResponse> RefuseFraming(const RequestHead& head, qsizetype bodyBytes);

/// Requests that a foreign page makes in a browser: the answer to them. Such a page may point a name of its own at our
/// address, so a name that is not ours is refused; and its own origin is told with all that could change something.
[[nodiscard]] std::optional<HttpResponse> RefuseForeign(const RequestHead& head, const ServerNames& server);
