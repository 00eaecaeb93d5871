#include "ce102.h"
#include "fuzztarget.h"

#include <QtEndian>

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    const QByteArray input = InPlace(bytes, size);
    const QByteArray old("old");
    QByteArray data = old;
    bool answer = false;
    quint16 address2 = 0;
    quint16 address1 = 0;
    quint16 command = 0xCCCC;
    if (TCounter_CE102::ReceivePack(input, answer, address2, address1, command, data))
        Require(!data.isEmpty() && data.size() <= 15);
    else
        Require(data == old && command == 0xCCCC && !answer);

    // Whatever a query holds comes through the stuffing and the checksum; then it is refused for not being an answer.
    const auto address = static_cast<quint16>(size * 257);
    const QByteArray query = TCounter_CE102(nullptr, address, 0).CreateQuery(0x0130, input);
    Require(query.count('\xC0') == 2);
    Require(!TCounter_CE102::ReceivePack(query, answer, address2, address1, command, data));
    Require(address1 == qbswap(address) && address2 == 0x0100);
    return 0;
}
