// A peer's bytes: what is decoded can be said again in the same words, and looking for a command ends.

#include "frame.h"
#include "fuzztarget.h"

extern "C" int LLVMFuzzerTestOneInput(const quint8* data, size_t size)
{
    const QByteArray input = InPlace(data, size);
    const QByteArray encoded = BusFrame::Encode(BusFrame::Decode(input));
    Require(BusFrame::Encode(BusFrame::Decode(encoded.sliced(BusFrame::LengthFieldSize))) == encoded);
    static_cast<void>(BusFrame::HoldsCommand(input, 0, "QuitSignal"));
    return 0;
}
