// A peer's bytes: what is decoded can be said again in the same words, and looking for a command ends and finds what is
// decoded.

#include "frame.h"
#include "fuzztarget.h"

#include <QtEndian>

extern "C" int LLVMFuzzerTestOneInput(const quint8* data, size_t size)
{
    const QByteArray input = InPlace(data, size);
    const QByteArray encoded = BusFrame::Encode(BusFrame::Decode(input));
    Require(BusFrame::Encode(BusFrame::Decode(encoded.sliced(BusFrame::LengthFieldSize))) == encoded);
    static_cast<void>(BusFrame::HoldsCommand(input, 0, "QuitSignal"));

    QByteArray whole(BusFrame::LengthFieldSize, Qt::Uninitialized);
    qToBigEndian(static_cast<qint32>(input.size()), whole.data());
    whole += input;
    const BusFrame::Frame frame = BusFrame::Decode(input);
    const auto* const command = std::get_if<BusFrame::Command>(&frame);
    const QByteArray name =
        command && !command->commandName.isEmpty() ? command->commandName : QByteArray("QuitSignal");
    Require(BusFrame::HoldsCommand(whole, 0, name) == (command && command->commandName == name));
    return 0;
}
