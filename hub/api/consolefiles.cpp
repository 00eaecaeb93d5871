#include "consolefiles.h"

#include "shown.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <array>

using namespace Qt::StringLiterals;

namespace {

struct FileKind {
    QLatin1StringView suffix;
    const char* type;
};

constexpr std::array<FileKind, 7> Kinds{{
    {".html"_L1, "text/html; charset=utf-8"},
    {".js"_L1, "text/javascript; charset=utf-8"},
    {".css"_L1, "text/css; charset=utf-8"},
    {".json"_L1, "application/json"},
    {".svg"_L1, "image/svg+xml"},
    {".png"_L1, "image/png"},
    {".ico"_L1, "image/x-icon"},
}};

constexpr auto Policy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

} // namespace

QByteArray ConsoleFiles::Tag(const QString& name, const QByteArray& contents)
{
    QByteArray& tag = tags[name];
    if (tag.isEmpty())
        tag = '"' + QCryptographicHash::hash(contents, QCryptographicHash::Sha256).toHex().first(16) + '"';
    return tag;
}

HttpResponse ConsoleFiles::Answer(const HttpRequest& request)
{
    static const QRegularExpression form(u"\\A(/[A-Za-z0-9_-][A-Za-z0-9._-]*)+\\z"_s);
    const QString path = request.path == "/"_L1 ? u"/index.html"_s : request.path;
    const auto* const kind =
        std::find_if(Kinds.begin(), Kinds.end(), [&path](const FileKind& each) { return path.endsWith(each.suffix); });
    QFile file(prefix + path);
    if (kind == Kinds.end() || !form.match(path).hasMatch() || !file.open(QIODevice::ReadOnly))
        return ErrorResponse(404, u"there is nothing at \"%1\""_s.arg(Shown(request.path.toUtf8())));
    const QByteArray contents = file.readAll();
    const QByteArray tag = Tag(path, contents);
    HttpResponse response{.status = 200,
        .contentType = kind->type,
        .body = contents,
        .headers = {{"ETag"_ba, tag}, {"Cache-Control"_ba, "no-cache"_ba}, {"Content-Security-Policy"_ba, Policy}}};
    for (const QByteArray& known : request.Header("if-none-match"_ba).split(','))
        if (known.trimmed() == tag || known.trimmed() == "W/" + tag) {
            response.status = 304;
            response.contentType.clear();
            response.body.clear();
        }
    return response;
}
