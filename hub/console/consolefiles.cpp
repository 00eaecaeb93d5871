#include "consolefiles.h"

#include <QFile>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

struct ContentType {
    QLatin1StringView ending;
    const char* type;
};

constexpr std::array<ContentType, 4> Types{{
    {".html"_L1, "text/html; charset=utf-8"},
    {".css"_L1, "text/css; charset=utf-8"},
    {".js"_L1, "text/javascript; charset=utf-8"},
    {".svg"_L1, "image/svg+xml"},
}};

} // namespace

std::optional<Console::File> Console::Find(const QString& path)
{
    const QString name = path == u"/"_s ? u"/index.html"_s : path;
    const auto* const type =
        std::ranges::find_if(Types, [&name](const ContentType& one) { return name.endsWith(one.ending); });
    if (type == Types.end() || name.contains(u".."_s)) // only the page's own files
        return std::nullopt;
    QFile file(u":/console"_s + name);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return File{type->type, file.readAll()};
}
