// The modem's bytes cut into messages: nothing is lost or added, and how the bytes come makes no difference.

#include "fuzztarget.h"
#include "modemstream.h"

namespace {

QByteArrayList Messages(const QByteArray& bytes, qsizetype pieceSize)
{
    ModemStream stream;
    QByteArrayList messages;
    for (qsizetype at = 0; at < bytes.size(); at += pieceSize)
        messages += stream.Take(bytes.mid(at, pieceSize), 0);
    return messages + stream.Take({}, ModemStream::MostHeldMs);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* data, size_t size)
{
    const QByteArray bytes = InPlace(data, size);
    const QByteArrayList messages = Messages(bytes, 4096);
    Require(messages.join() == bytes);
    Require(Messages(bytes, 1) == messages);
    return 0;
}
