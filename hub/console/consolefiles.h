#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/// The page that the hub shows to browsers, from the program itself.
namespace Console {

struct File {
    QByteArray contentType;
    QByteArray bytes;
};

/// What a browser asks for by the path of its request; "/" is the page. None: there is no such file.
[[nodiscard]] std::optional<File> Find(const QString& path);

/// The Content-Security-Policy that the page keeps to: nothing of its own host but files, nothing of any other.
inline constexpr QLatin1StringView Policy{
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'"};

} // namespace Console
