#include "nodeframe.h"

#include "stuffing.h"

namespace {

struct NodeRule {
    static constexpr char Begin = '\xC0';
    static constexpr char End = '\xC1';
    static constexpr char Escape = '\x7D';

    static constexpr char Original(char second) { return static_cast<char>(second ^ 0x20); }

    static constexpr std::optional<char> Second(char byte)
    {
        if (byte == Begin || byte == End || byte == Escape)
            return Original(byte);
        return std::nullopt;
    }
};

} // namespace

QByteArray NodeFrame::ToC0C1(QByteArray payload)
{
    return Stuffing::Frame<NodeRule>(payload);
}

QByteArray NodeFrame::FromC0C1(QByteArray in, QByteArray& rest)
{
    rest = in;
    const qsizetype begin = in.indexOf(NodeRule::Begin);
    const qsizetype end = in.indexOf(NodeRule::End);
    if (begin < 0 || end < 0)
        return {};

    rest = in.sliced(end + 1);
    if (end < begin)
        return {};
    return Stuffing::Unstuff<NodeRule>(QByteArrayView(in).sliced(begin + 1, end - begin - 1));
}
