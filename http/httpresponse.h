#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <utility>

/// One whole answer. To HEAD the server sends it without the body. The server adds the length, the date,
/// "X-Content-Type-Options: nosniff", and, where the answer does not say otherwise, that it is not kept in a cache and
/// that, shown as a page, it may load nothing.
struct HttpResponse {
    int status = 200;
    QByteArray contentType; ///< empty: no header, for answers without a body
    QByteArray body;
    QList<std::pair<QByteArray, QByteArray>> headers; ///< further ones; values are of one line
};

/// {"error": "text"} with a status.
[[nodiscard]] HttpResponse ErrorResponse(int status, const QString& text);
