#include "fuzztarget.h"
#include "nodeframe.h"

#include <QList>

namespace {

/// All payloads of a stream that comes in pieces of `size` bytes.
QByteArrayList Payloads(const QByteArray& stream, qsizetype size)
{
    QByteArrayList payloads;
    QByteArray buffer;
    for (qsizetype at = 0; at < stream.size(); at += size) {
        buffer += stream.mid(at, size);
        while (buffer.contains('\xC0') && buffer.contains('\xC1'))
            payloads += NodeFrame::FromC0C1(buffer, buffer);
    }
    return payloads;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const QByteArray input = InPlace(bytes, size);

    const QByteArray frame = NodeFrame::ToC0C1(input);
    Require(frame.count('\xC0') == 1 && frame.count('\xC1') == 1);
    QByteArray rest;
    Require(NodeFrame::FromC0C1(frame + input, rest) == input && rest == input);

    // A stream is eaten up frame by frame.
    QByteArray stream = input;
    while (stream.contains('\xC0') && stream.contains('\xC1')) {
        Require(!NodeFrame::FromC0C1(stream, rest).contains('\xC1') || stream.contains('\x7D'));
        Require(rest.size() < stream.size() && stream.endsWith(rest));
        stream = rest;
    }
    Require(NodeFrame::FromC0C1(stream, rest).isEmpty() && rest == stream);

    for (const qsizetype pieceSize : {1, 2, 3, 7})
        Require(Payloads(input, pieceSize) == Payloads(input, input.size()));
    return 0;
}
