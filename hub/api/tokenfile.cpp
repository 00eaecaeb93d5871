#include "tokenfile.h"

#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype Shortest = 16;
constexpr qsizetype Longest = 1024;

} // namespace

TokenFile TokenFile::Read(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {.token = {}, .problem = u"\"%1\": %2"_s.arg(path, file.errorString())};
    if (file.permissions() & (QFile::ReadOther | QFile::WriteOther))
        return {
            .token = {}, .problem = u"\"%1\" may be read or written by everybody; its mode must be 0640"_s.arg(path)};
    const QByteArray token = file.readLine(Longest + 2).trimmed();
    const bool isVisible = std::all_of(token.begin(), token.end(), [](char c) { return c > ' ' && c < 0x7F; });
    if (token.size() < Shortest || token.size() > Longest || !isVisible)
        return {.token = {},
            .problem =
                u"\"%1\": a token is a line of %2 to %3 letters and digits"_s.arg(path).arg(Shortest).arg(Longest)};
    return {.token = token, .problem = {}};
}
