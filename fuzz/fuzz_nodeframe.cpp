#include "fuzztarget.h"
#include "nodeframe.h"

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
    return 0;
}
