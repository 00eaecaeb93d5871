#include "fuzztarget.h"
#include "set3.h"

#include <QtEndian>

namespace {

QByteArray Sealed(QByteArray covered)
{
    const quint16 crc = qToBigEndian(TCounter_SET3::GetCRC(covered));
    return '\x82' + covered.append(reinterpret_cast<const char*>(&crc), sizeof crc);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const QByteArray input = InPlace(bytes, size);
    const QByteArray old("old");
    QByteArray data = old;
    quint32 meter = 0;
    quint8 code = 0;
    for (const QByteArray& pack : {input, Sealed(input)}) {
        data = old;
        if (!TCounter_SET3::ReceivePack(pack, meter, code, data)) {
            Require(data == old);
            continue;
        }
        // An accepted answer is exactly the one that its values make.
        const quint32 number = qToLittleEndian(meter);
        Require(pack == Sealed(QByteArray(reinterpret_cast<const char*>(&number), 3) + static_cast<char>(code) + data));
        Require(meter >> 24 == ((meter & 0x00800000) != 0 ? 0xFF : 0));
    }
    Require(TCounter_SET3::ReceivePack(Sealed(input), meter, code, data) == (size >= 5));
    return 0;
}
