#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <optional>
#include <utility>

/// What stands behind the method in a request line, taken apart.
struct HttpTarget {
    QString path; ///< begins with "/"; escapes are undone
    QList<std::pair<QString, QString>> query; ///< names and values as they came, escapes undone; a name may come twice
};

/// Takes "/path?name=value&..." apart. A "+" stays a plus: it stands in times with a zone. Nothing for what does not
/// begin with "/", has a broken escape or a blank, or holds a control character or what is not UTF-8 once the escapes
/// are undone.
[[nodiscard]] std::optional<HttpTarget> ParseTarget(QByteArrayView target);

/// One whole request.
struct HttpRequest {
    QByteArray method; ///< as it came: "GET", "HEAD", "POST", or any other word
    QString path;
    QList<std::pair<QString, QString>> query;
    QHash<QByteArray, QByteArray>
        headers; ///< by name in lower case; the values of a repeated header are joined with ", "
    QByteArray body;
    bool isLocal = false; ///< came over the socket file, whose rights decided who may ask

    /// The value of a header, its name in lower case; empty when it did not come.
    [[nodiscard]] QByteArray Header(const QByteArray& name) const { return headers.value(name); }
};
