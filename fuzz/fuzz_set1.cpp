#include "fuzztarget.h"
#include "set1.h"

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const QByteArray input = InPlace(bytes, size);
    const QByteArray old("old");
    QByteArray data = old;
    quint8 code = 0;
    if (!TCounter_SET1::ReceivePack(input, code, data)) {
        Require(data == old);
        return 0;
    }
    Require(data == input.mid(2, code == 'P' ? 7 : 12));
    if (code != 'P')
        Require(static_cast<quint8>(TCounter_SET1::GetCRC(input.sliced(2, 13))) == 0);
    return 0;
}
