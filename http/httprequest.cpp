#include "httprequest.h"

#include <QStringDecoder>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

int HexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::optional<QByteArray> WithoutEscapes(QByteArrayView text)
{
    QByteArray bytes;
    bytes.reserve(text.size());
    for (qsizetype at = 0; at < text.size(); ++at) {
        if (text[at] == ' ')
            return {};
        if (text[at] != '%') {
            bytes += text[at];
            continue;
        }
        if (at + 2 >= text.size())
            return {};
        const int high = HexDigit(text[at + 1]);
        const int low = HexDigit(text[at + 2]);
        if (high < 0 || low < 0)
            return {};
        bytes += static_cast<char>(high * 16 + low);
        at += 2;
    }
    return bytes;
}

std::optional<QString> Decoded(QByteArrayView escaped)
{
    const std::optional<QByteArray> bytes = WithoutEscapes(escaped);
    if (!bytes)
        return {};
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString text = utf8(*bytes);
    const bool hasControls = std::any_of(text.begin(), text.end(),
        [](QChar c) { return c.unicode() < 0x20 || (c.unicode() >= 0x7F && c.unicode() < 0xA0); });
    if (utf8.hasError() || hasControls)
        return {};
    return text;
}

} // namespace

std::optional<HttpTarget> ParseTarget(QByteArrayView target)
{
    if (!target.startsWith('/'))
        return {};
    const qsizetype mark = target.indexOf('?');
    const std::optional<QString> path = Decoded(mark < 0 ? target : target.first(mark));
    if (!path)
        return {};
    HttpTarget result{.path = *path, .query = {}};
    QByteArrayView rest = mark < 0 ? QByteArrayView() : target.sliced(mark + 1);
    while (!rest.isEmpty()) {
        const qsizetype end = rest.indexOf('&');
        const QByteArrayView pair = end < 0 ? rest : rest.first(end);
        rest = end < 0 ? QByteArrayView() : rest.sliced(end + 1);
        if (pair.isEmpty())
            continue;
        const qsizetype equals = pair.indexOf('=');
        const std::optional<QString> name = Decoded(equals < 0 ? pair : pair.first(equals));
        const std::optional<QString> value = Decoded(equals < 0 ? QByteArrayView() : pair.sliced(equals + 1));
        if (!name || !value)
            return {};
        result.query.emplaceBack(*name, *value);
    }
    return result;
}
